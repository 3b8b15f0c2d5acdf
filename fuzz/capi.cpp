// The C interface driven by bytes: handles and null ones, structures of wrong sizes, buffers of odd lengths, parameter
// files and recordings of any content, samples of any bits. Every call answers with a status of the library, writes
// where it may and nowhere else, and ends its texts; what is read can be written and read again.
#include "Fuzz.h"
#include "KORInterface/kor.h"

#include <array>
#include <cmath>
#include <vector>

namespace {

using kor_fuzz::Bytes;
using kor_fuzz::require;

constexpr std::size_t kMostSamples = 400;

// The library keeps two buffers of each two-level model to the end of the process, which must not fill the memory.
constexpr int kMostTwoLevelModels = 20000;
int twoLevelModels = 0;

bool isStatus(std::int32_t status)
{
    for (const std::int32_t known : {0, 20, 550, 551, 553, 554}) {
        if (status == known) {
            return true;
        }
    }
    return false;
}

void expectStatus(std::int32_t status)
{
    require(isStatus(status), "a call answers with a status of the library");
}

// A handle, or now and then null.
template <typename Handle>
Handle* maybe(Bytes& in, Handle* handle)
{
    return in.below(24) == 0 ? nullptr : handle;
}

// An array with a mark behind it.
template <typename Value, std::size_t N>
struct Guarded {
    std::array<Value, N> values{};
    std::array<unsigned char, 8> mark{1, 2, 3, 4, 5, 6, 7, 8};

    ~Guarded()
    {
        require(mark == std::array<unsigned char, 8>{1, 2, 3, 4, 5, 6, 7, 8}, "nothing is written behind an array");
    }
};

// A structure of any size; what stands behind the fields that the library knows stays as it is.
template <typename Struct, typename Call>
void withStruct(Bytes& in, Call call)
{
    constexpr std::uint32_t kSizes[] = {
        sizeof(Struct), sizeof(Struct), sizeof(Struct), sizeof(Struct) + 8, sizeof(Struct) - 1, sizeof(Struct) + 1, 0,
        1024,           1025,           0xffffffffU};
    struct {
        Struct known;
        std::array<unsigned char, 1024> later;
    } there;
    std::memset(&there, 0x5a, sizeof there);
    there.known.size = in.pick(kSizes);
    const std::uint32_t size = there.known.size;
    const std::int32_t status = call(&there.known);
    expectStatus(status);
    require(there.known.size == size, "a structure keeps its size");
    require(size >= sizeof(Struct) && size <= 1024 ? true : status == 20, "a wrong size is refused");
    for (const unsigned char byte : there.later) {
        require(byte == 0x5a, "nothing is written behind the known fields");
    }
    require(call(static_cast<Struct*>(nullptr)) == 20, "a null structure is refused");
}

// A text in a buffer of any length.
template <typename Call>
void withText(Bytes& in, Call call)
{
    std::array<char, 600> whole;
    std::size_t length = 0;
    const std::int32_t status = call(whole.data(), whole.size(), &length);
    expectStatus(status);
    require(call(static_cast<char*>(nullptr), std::size_t{1}, &length) != 0, "a null buffer with room is refused");
    require(call(static_cast<char*>(nullptr), std::size_t{0}, static_cast<std::size_t*>(nullptr)) != 0,
            "a call that asks for nothing is refused");
    if (status != 0) {
        return;
    }
    const std::string_view all(whole.data());
    require(all.size() == std::min(length, all.size()), "the length is that of the whole text");
    require(length < whole.size() ? all.size() == length : all.size() + 4 >= whole.size(), "the text is whole");
    require(kor_fuzz::isShown(all), "a text is printable UTF-8");
    std::array<char, 64> part;
    part.fill('#');
    const std::size_t room = in.below(part.size());
    std::size_t asked = 0;
    require(call(part.data(), room, &asked) == 0 && asked == length, "the length does not depend on the room");
    require(room == part.size() || part[room] == '#', "nothing is written behind the room");
    if (room > 0) {
        const std::string_view cut(part.data());
        require(cut.size() < room && all.substr(0, cut.size()) == cut, "a text is cut off and ended");
        require(cut.size() == length || cut.size() + 4 >= room, "no more than a character is lost");
        require(kor_fuzz::isShown(cut), "no character is cut through");
    }
}

class Session {
public:
    explicit Session(Bytes& in) : m_in(in)
    {
        require(kor_prm_create(&m_prm) == 0 && kor_engine_create(&m_engine) == 0, "there are handles");
        require(kor_reader_create(&m_reader) == 0 && kor_writer_create(&m_writer) == 0, "there are handles");
        if (m_in.coin()) {
            readShipped();
        }
    }
    ~Session()
    {
        require(kor_prm_destroy(m_prm) == 0 && kor_engine_destroy(m_engine) == 0, "handles end");
        require(kor_reader_destroy(m_reader) == 0 && kor_writer_destroy(m_writer) == 0, "handles end");
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void run()
    {
        for (int calls = 0; calls < 60 && !m_in.isEmpty(); ++calls) {
            step();
        }
    }

private:
    void step()
    {
        switch (m_in.below(16)) {
        case 0:
            readShipped();
            break;
        case 1:
            readAny();
            break;
        case 2:
            tellOfPrm();
            break;
        case 3:
            getGroups();
            break;
        case 4:
            setPrm();
            break;
        case 5:
        case 6:
            configure();
            break;
        case 7:
            setEngine();
            break;
        case 8:
            setMode(m_in.below(14));
            break;
        case 9:
        case 10:
        case 11:
            feed();
            break;
        case 12:
            ask();
            break;
        case 13:
        case 14:
            read();
            break;
        default:
            renew();
            break;
        }
    }

    void readShipped()
    {
        constexpr const char* kFolders[] = {"dual_level",     "pendulum",     "polarizer",
                                            "polarizer_even", "three_vector", "two_level"};
        constexpr std::uint32_t kIds[] = {1001, 1003, 1005, 1006, 1007, 1009};
        const std::size_t which = m_in.below(std::size(kIds));
        const std::string folder = std::string(KOR_DATA "/") + kFolders[which];
        require(kor_prm_read(m_prm, folder.c_str(), kIds[which]) == 0, "a shipped file is read");
        m_mode = kFolders[which] == std::string_view("two_level") ? 9 : 7;
    }

    // A parameter file of any content, by its path and by its folder.
    void readAny()
    {
        static const kor_fuzz::Folder folder;
        const std::string_view content = m_in.rest();
        folder.write("Tg7.prm", content);
        expectStatus(kor_prm_read(m_prm, folder.path().c_str(), 7));
        expectStatus(kor_prm_check_file(m_prm, "Tg7.prm", KOR_MODE_OF_FILE));
        kor_check_report checked{};
        checked.size = sizeof checked;
        require(kor_prm_check_report(m_prm, &checked) == 0, "there is an account");
        require(checked.findings == checked.errors + checked.warnings + checked.notes,
                "every finding has its severity");
        m_mode = 9; // who knows
    }

    void tellOfPrm()
    {
        const auto which = static_cast<std::int32_t>(m_in.below(12)) - 1;
        const auto index = static_cast<std::uint32_t>(m_in.coin() ? 0 : m_in.below(40));
        kor_prm* const prm = maybe(m_in, m_prm);
        withStruct<kor_read_report>(m_in, [&](kor_read_report* r) { return kor_prm_read_report(prm, r); });
        withStruct<kor_check_report>(m_in, [&](kor_check_report* r) { return kor_prm_check_report(prm, r); });
        withStruct<kor_read_finding>(m_in, [&](kor_read_finding* f) { return kor_prm_read_finding(prm, index, f); });
        withStruct<kor_check_finding>(m_in, [&](kor_check_finding* f) { return kor_prm_check_finding(prm, index, f); });
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_prm_read_text(prm, which, text, room, length);
        });
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_prm_read_finding_text(prm, index, which, text, room, length);
        });
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_prm_check_finding_text(prm, index, which, text, room, length);
        });
    }

    void getGroups()
    {
        kor_prm* const prm = maybe(m_in, m_prm);
        const std::size_t room = m_in.below(70);
        std::size_t count = 0;
        Guarded<float, 70 * 2 + 3> table;
        Guarded<double, 70 * 4> coefficients;
        float* const into = maybe(m_in, table.values.data());
        expectStatus(kor_prm_get_azimuth_table(prm, into, room, &count));
        expectStatus(kor_prm_get_elevation_table(prm, into, room, &count));
        expectStatus(kor_prm_get_level_x_table(prm, into, coefficients.values.data(), room, &count));
        expectStatus(kor_prm_get_level_y_table(prm, into, coefficients.values.data(), room, &count));
        Guarded<float, 8> f;
        Guarded<double, 9> d;
        F_VECTOR2 two{};
        F_VECTOR4 four{};
        std::int32_t mode = 0;
        expectStatus(kor_prm_get_scale_factors(prm, f.values.data()));
        expectStatus(kor_prm_get_qvc_parameters(prm, f.values.data()));
        expectStatus(kor_prm_get_level1_parameters(prm, f.values.data()));
        expectStatus(kor_prm_get_level2_parameters(prm, f.values.data()));
        expectStatus(kor_prm_get_dynamic_parameters(prm, f.values.data()));
        expectStatus(kor_prm_get_detector(prm, f.values.data(), f.values.data() + 3));
        expectStatus(kor_prm_get_encoder_offset(prm, &two));
        expectStatus(kor_prm_get_encoder_limit(prm, &four));
        expectStatus(kor_prm_get_known_vector(prm, d.values.data()));
        expectStatus(kor_prm_get_local_matrix(prm, d.values.data()));
        expectStatus(kor_prm_get_machine_matrix(prm, d.values.data()));
        expectStatus(kor_prm_get_thermal_factor(prm, &four));
        expectStatus(kor_prm_get_tilt_offset(prm, &two));
        expectStatus(kor_prm_get_level_limits(prm, &four));
        expectStatus(kor_prm_get_mount_mode(prm, &mode));
        expectStatus(kor_prm_get_adm_offset(prm, f.values.data()));
    }

    template <typename Value>
    Value any()
    {
        return m_in.take<Value>();
    }

    void setPrm()
    {
        kor_prm* const prm = maybe(m_in, m_prm);
        const auto f = any<std::array<float, 8>>();
        const auto d = any<std::array<double, 9>>();
        const auto two = any<F_VECTOR2>();
        const auto four = any<F_VECTOR4>();
        expectStatus(kor_prm_set_scale_factors(prm, f.data(), static_cast<std::uint32_t>(m_in.below(10))));
        expectStatus(kor_prm_set_encoder_offset(prm, &two));
        expectStatus(kor_prm_set_known_vector(prm, d.data()));
        expectStatus(kor_prm_set_local_matrix(prm, d.data()));
        expectStatus(kor_prm_set_machine_matrix(prm, d.data()));
        expectStatus(kor_prm_set_thermal_factor(prm, &four));
        expectStatus(kor_prm_set_tilt_offset(prm, maybe(m_in, &two)));
        expectStatus(kor_prm_set_level_limits(prm, maybe(m_in, &four)));
    }

    // Whether a model of this mode may be made.
    bool allowed(std::int32_t mode) { return (mode != 9 && mode != 10) || twoLevelModels++ < kMostTwoLevelModels; }

    void configure()
    {
        kor_configure_options options{};
        options.size = sizeof options;
        options.has_mount_mode = static_cast<std::int32_t>(m_in.below(2));
        options.mount_mode = static_cast<std::int32_t>(m_in.below(12));
        options.has_mcs_flag = any<std::int8_t>();
        options.mcs_flag = any<std::int8_t>();
        options.parameter_store = any<std::int8_t>();
        options.has_detector = any<std::int8_t>();
        for (std::int32_t& value : options.detector) {
            value = any<std::int32_t>();
        }
        if (m_in.below(16) == 0) {
            options.size = any<std::uint32_t>() % 1100;
            if (options.size > sizeof options) {
                options.size = 1025; // behind the options there is nothing
            }
        }
        if (allowed(options.has_mount_mode != 0 ? options.mount_mode : m_mode)) {
            expectStatus(kor_engine_configure(maybe(m_in, m_engine), maybe(m_in, m_prm),
                                              m_in.below(4) == 0 ? nullptr : &options));
        }
    }

    void setMode(std::size_t mode)
    {
        const auto chosen = static_cast<std::int32_t>(mode);
        if (allowed(chosen)) {
            expectStatus(kor_engine_set_mount_mode(maybe(m_in, m_engine), chosen));
        }
    }

    void setEngine()
    {
        kor_engine* const engine = maybe(m_in, m_engine);
        const auto f = any<std::array<float, 9>>();
        const auto d = any<std::array<double, 9>>();
        const float* const floats = maybe(m_in, f.data());
        const double* const doubles = maybe(m_in, d.data());
        const auto few = static_cast<std::int32_t>(m_in.below(11)) - 1;  // of f at most 9
        const auto rows = static_cast<std::int32_t>(m_in.below(5)) - 1;  // of f at most 4
        const auto knots = static_cast<std::int32_t>(m_in.below(4)) - 1; // of d at most 2
        expectStatus(kor_engine_set_scale_factors(engine, floats, few));
        expectStatus(kor_engine_set_qvc_parameters(engine, floats, few));
        expectStatus(kor_engine_set_level1_parameters(engine, floats, few));
        expectStatus(kor_engine_set_level2_parameters(engine, floats, few));
        expectStatus(kor_engine_set_level_x_table(engine, knots, floats, doubles));
        expectStatus(kor_engine_set_level_y_table(engine, knots, floats, doubles));
        expectStatus(kor_engine_set_azimuth_table(engine, rows, floats));
        expectStatus(kor_engine_set_elevation_table(engine, rows, floats));
        const F_VECTOR2 two = {f[0], f[1]};
        const F_VECTOR4 four = {f[0], f[1], f[2], f[3]};
        expectStatus(kor_engine_set_encoder_offset(engine, &two));
        expectStatus(kor_engine_set_tilt_offset(engine, &two));
        expectStatus(kor_engine_set_thermal_factor(engine, &four));
        expectStatus(kor_engine_set_known_vector(engine, doubles));
        expectStatus(kor_engine_set_local_matrix(engine, doubles));
        expectStatus(kor_engine_set_machine_matrix(engine, doubles));
        expectStatus(kor_engine_set_mcs_flag(engine, few));
        expectStatus(kor_engine_set_detector(engine, few, rows, knots));
        expectStatus(kor_engine_set_parameter_store(engine, floats, f.data(), f.data() + 3));
    }

    KOR_RAWINFO sample()
    {
        if (m_in.below(4) == 0) {
            return any<KOR_RAWINFO>();
        }
        m_last.status = m_in.below(16) == 0 ? 1 : 2;
        m_last.azimuthRaw += m_in.real<float>(1.0);
        m_last.elevationRaw += m_in.real<float>(0.5);
        m_last.levelXRaw = m_in.real<float>(6.0);
        m_last.levelYRaw = m_in.real<float>(6.0);
        m_last.timeStampMs += 10;
        return m_last;
    }

    // Samples one by one, and all of them in one call.
    void feed()
    {
        kor_engine* const engine = maybe(m_in, m_engine);
        const KOR_RAWINFO raw = sample();
        KOR_INFO info;
        Guarded<double, 9> matrix;
        std::int32_t code = -1;
        const std::size_t wanted = m_in.below(16);
        withStruct<kor_sample_report>(m_in, [&](kor_sample_report* report) {
            const std::int32_t status = kor_engine_update(engine, &raw, (wanted & 1U) != 0 ? &info : nullptr,
                                                          (wanted & 2U) != 0 ? matrix.values.data() : nullptr,
                                                          (wanted & 4U) != 0 ? &code : nullptr, report);
            return report == nullptr ? 20 : status; // it may be null here
        });
        std::vector<KOR_RAWINFO> many(m_samples < kMostSamples ? m_in.below(60) : 1, raw);
        for (KOR_RAWINFO& each : many) {
            each.timeStampMs += static_cast<std::uint32_t>(10 * (&each - many.data()));
        }
        m_samples += many.size();
        std::vector<KOR_INFO> infos(many.size());
        std::vector<double> matrices(9 * many.size());
        std::vector<std::int32_t> codes(many.size());
        std::vector<std::int32_t> outcomes(many.size());
        const std::int32_t status = kor_engine_update_many(engine, many.data(), many.size(), infos.data(),
                                                           matrices.data(), codes.data(), outcomes.data());
        require(status == (engine == nullptr ? 20 : 0), "samples are taken");
        for (std::size_t i = 0; status == 0 && i < many.size(); ++i) {
            require(codes[i] == 0 || codes[i] == 554, "a matrix is valid or not");
            require(outcomes[i] >= KOR_OUTCOME_NO_MODEL && outcomes[i] <= KOR_OUTCOME_SPOILED, "an outcome is known");
        }
    }

    void ask()
    {
        kor_engine* const engine = maybe(m_in, m_engine);
        withStruct<kor_sample_report>(
            m_in, [&](kor_sample_report* report) { return kor_engine_last_sample(engine, report); });
        auto report = any<kor_sample_report>();
        if (m_in.coin()) {
            report.size = sizeof report;
        } else if (report.size > sizeof report && report.size <= 1024) {
            report.size = 0; // behind the report there is nothing
        }
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_sample_text(&report, text, room, length);
        });
        Guarded<double, 9> matrix;
        expectStatus(kor_engine_read_matrix(engine, matrix.values.data()));
        float reading = 0.0F;
        expectStatus(kor_engine_inverse_azimuth(engine, m_in.real<float>(800.0), &reading));
        expectStatus(kor_engine_inverse_elevation(engine, m_in.real<float>(800.0), &reading));
        const auto a = any<D_VECTOR3>();
        const auto b = any<D_VECTOR3>();
        const auto reference = any<D_VECTOR2>();
        const auto measured = any<D_VECTOR3>();
        double first = 0.0;
        std::int32_t solved = 0;
        expectStatus(
            kor_engine_home_vector(engine, &a, &b, &reference, maybe(m_in, &measured), &first, nullptr, &solved));
        const auto number = any<std::int32_t>();
        for (const char* const text :
             {kor_status_text(number), kor_outcome_text(number), kor_reason_text(number), kor_model_text(number),
              kor_spoiled_text(number), kor_message_text(static_cast<std::uint32_t>(number))}) {
            require(text != nullptr && std::strlen(text) < 200, "a number has a text");
        }
        expectStatus(kor_fresh_process_values());
    }

    std::vector<KOR_RAWINFO> readAll(const std::string& path, std::int32_t format, std::size_t most)
    {
        std::vector<KOR_RAWINFO> samples;
        std::array<KOR_RAWINFO, 16> some;
        std::size_t count = 1;
        std::int32_t status = kor_reader_open(m_reader, path.c_str(), format);
        expectStatus(status);
        kor_problem problem{};
        problem.size = sizeof problem;
        for (std::size_t i = 0; i < most && status != 551 && (status != 0 || count > 0); ++i) {
            require(kor_reader_problem(m_reader, &problem) == 0 && problem.status == status, "there is an account");
            if (status != 0) {
                withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
                    return kor_reader_problem_text(m_reader, KOR_TEXT_SENTENCE, text, room, length);
                });
                if (i > 0 && problem.goes_on == 0) {
                    break;
                }
            }
            status = kor_reader_read(m_reader, some.data(), 1 + m_in.below(some.size()), &count);
            expectStatus(status);
            require(count <= some.size(), "no more is read than there is room for");
            samples.insert(samples.end(), some.begin(), some.begin() + static_cast<std::ptrdiff_t>(count));
        }
        return samples;
    }

    // A recording of any content; what can be read of it is written and read again.
    void read()
    {
        static kor_fuzz::MemoryFile memory;
        const auto format = static_cast<std::int32_t>(m_in.below(3));
        const std::size_t which = m_in.below(12);
        memory.write(m_in.rest());
        const std::vector<KOR_RAWINFO> samples = readAll(memory.path(), format, 2000);
        withStruct<kor_problem>(m_in, [&](kor_problem* p) { return kor_reader_problem(m_reader, p); });
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_reader_problem_text(m_reader, static_cast<std::int32_t>(which) - 1, text, room, length);
        });
        std::size_t warnings = 0;
        std::uint64_t place = 0;
        expectStatus(kor_reader_place(m_reader, &place));
        expectStatus(kor_reader_warnings(m_reader, &warnings));
        for (std::size_t i = 0; i <= warnings && i < 20; ++i) {
            withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
                return kor_reader_warning_text(m_reader, i, text, room, length);
            });
        }
        if (samples.empty()) {
            return;
        }
        static kor_fuzz::MemoryFile written;
        written.write({});
        require(kor_writer_open(m_writer, written.path().c_str(), KOR_FORMAT_CSV) == 0, "a file in memory is written");
        require(kor_writer_write(m_writer, samples.data(), samples.size()) == 0, "samples are written");
        require(kor_writer_close(m_writer) == 0, "a recording is completed");
        withStruct<kor_problem>(m_in, [&](kor_problem* p) { return kor_writer_problem(m_writer, p); });
        withText(m_in, [&](char* text, std::size_t room, std::size_t* length) {
            return kor_writer_problem_text(m_writer, 0, text, room, length);
        });
        const std::vector<KOR_RAWINFO> again = readAll(written.path(), KOR_FORMAT_CSV, 20000);
        require(again.size() == samples.size(), "written samples are read");
        for (std::size_t i = 0; i < again.size(); ++i) {
            require(again[i].status == samples[i].status && again[i].timeStampMs == samples[i].timeStampMs &&
                        (std::isnan(samples[i].azimuthRaw) ? std::isnan(again[i].azimuthRaw)
                                                           : again[i].azimuthRaw == samples[i].azimuthRaw),
                    "written samples are read as the same ones");
        }
    }

    void renew()
    {
        require(kor_engine_destroy(m_engine) == 0, "an engine ends");
        m_engine = nullptr;
        require(kor_engine_create(&m_engine) == 0, "there is an engine");
        expectStatus(kor_reader_close(maybe(m_in, m_reader)));
        expectStatus(kor_writer_close(maybe(m_in, m_writer)));
    }

    Bytes& m_in;
    kor_prm* m_prm = nullptr;
    kor_engine* m_engine = nullptr;
    kor_reader* m_reader = nullptr;
    kor_writer* m_writer = nullptr;
    std::int32_t m_mode = 7; // that the parameter set may choose
    std::size_t m_samples = 0;
    KOR_RAWINFO m_last = {0, 2,         {4000.0F, -3000.0F, 500.0F}, 10.0F,      5.0F, 0.5F, -0.5F, 20.0F, 0.0F, 0,
                          0, {0, 0, 0}, {800000, 810000, 820000},    4294967000U};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    Session(in).run();
    return 0;
}
