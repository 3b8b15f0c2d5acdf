// Runs a scenario file through the library. The formats of scenario and results stand in replay.py.
// Usage: reference_driver SCENARIO >RESULTS
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "KORInterface/KORInterface.h"
#include "mek/CEncoder.h"
#include "mek/Matrix.h"
#include "mek/Polyfit.h"
#include "mek/Spline.h"
#include "mek/Vector.h"

namespace {

constexpr double kUntouched = -77.0;

class Tokens {
public:
    explicit Tokens(std::istringstream& line)
    {
        for (std::string text; line >> text;) {
            m_words.push_back(text);
        }
    }

    std::string word()
    {
        if (done()) {
            throw std::runtime_error("too few values");
        }
        return m_words[m_next++];
    }
    bool null()
    {
        const bool found = !done() && m_words[m_next] == "null";
        m_next += found ? 1 : 0;
        return found;
    }
    bool done() const { return m_next == m_words.size(); }
    int integer() { return std::stoi(word()); }
    unsigned long counter() { return std::stoul(word()); }
    bool flag() { return integer() != 0; }
    double number() { return std::strtod(word().c_str(), nullptr); }
    float single() { return static_cast<float>(number()); }
    std::vector<double> numbers(int count)
    {
        std::vector<double> values;
        values.reserve(1); // no values are an empty array, not a null pointer
        for (int i = 0; i < count; ++i) {
            values.push_back(number());
        }
        return values;
    }
    std::vector<float> singles(int count)
    {
        std::vector<float> values;
        values.reserve(1);
        for (int i = 0; i < count; ++i) {
            values.push_back(single());
        }
        return values;
    }

private:
    std::vector<std::string> m_words;
    std::size_t m_next = 0;
};

void show(int value)
{
    std::printf(" %d", value);
}

void show(bool value)
{
    std::printf(" %d", value ? 1 : 0);
}

void show(double value)
{
    if (value != value) {
        std::printf(" nan");
    } else {
        std::printf(" %a", value);
    }
}

void show(float value)
{
    show(static_cast<double>(value));
}

template <typename Number>
void show(const Number* values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        show(values[i]);
    }
}

std::unique_ptr<CKorModel> makeModel(const std::string& name)
{
    if (name == "CKorModel") {
        return std::make_unique<CKorModel>();
    }
    if (name == "CKorDualLevel") {
        return std::make_unique<CKorDualLevel>();
    }
    if (name == "CKorPendulum") {
        return std::make_unique<CKorPendulum>();
    }
    if (name == "CKorPolarizer") {
        return std::make_unique<CKorPolarizer>();
    }
    if (name == "CKorThreeVec") {
        return std::make_unique<CKorThreeVec>();
    }
    if (name == "CKorThreeVec2Level") {
        return std::make_unique<CKorThreeVec2Level>();
    }
    if (name == "CKorThreeVec2Levelv2") {
        return std::make_unique<CKorThreeVec2Levelv2>();
    }
    throw std::runtime_error("unknown class " + name);
}

// Copies, moves and assignments between objects of the same class, whichever it is.
enum class Transfer { copy, move, assign };

template <typename Model>
bool transferAs(CKorModel& from, std::unique_ptr<CKorModel>& to, Transfer way)
{
    auto* source = dynamic_cast<Model*>(&from);
    if (source == nullptr || typeid(*source) != typeid(Model)) {
        return false;
    }
    if (way == Transfer::copy) {
        to = std::make_unique<Model>(*source);
    } else if (way == Transfer::move) {
        to = std::make_unique<Model>(std::move(*source));
    } else {
        dynamic_cast<Model&>(*to) = *source;
    }
    return true;
}

void transfer(CKorModel& from, std::unique_ptr<CKorModel>& to, Transfer way)
{
    if (!(transferAs<CKorDualLevel>(from, to, way) || transferAs<CKorPendulum>(from, to, way) ||
          transferAs<CKorPolarizer>(from, to, way) || transferAs<CKorThreeVec>(from, to, way) ||
          transferAs<CKorThreeVec2Levelv2>(from, to, way) || transferAs<CKorThreeVec2Level>(from, to, way) ||
          transferAs<CKorModel>(from, to, way))) {
        throw std::runtime_error("cannot copy this model");
    }
}

// Nothing is destroyed before the process ends.
class Driver {
public:
    Driver();
    void run(const std::string& operation, Tokens& tokens)
    {
        const auto found = m_operations.find(operation);
        if (found == m_operations.end()) {
            throw std::runtime_error("unknown operation " + operation);
        }
        found->second(tokens);
    }

private:
    using Operation = std::function<void(Tokens&)>;

    template <typename Model>
    Model& model()
    {
        return dynamic_cast<Model&>(**m_model);
    }
    void group(const char* name, int (CKor::*set)(const float*, int))
    {
        m_operations[name] = [this, set](Tokens& t) {
            if (t.null()) {
                show((m_engine->*set)(nullptr, 0));
                return;
            }
            const int count = t.integer();
            show((m_engine->*set)(t.singles(count).data(), count));
        };
    }
    void level(const char* name, int (CKor::*set)(int, const float*, const double*))
    {
        m_operations[name] = [this, set](Tokens& t) {
            if (t.null()) {
                show((m_engine->*set)(4, nullptr, nullptr));
                return;
            }
            const int count = t.integer();
            const std::vector<float> knots = count < 1 ? std::vector<float>(1) : t.singles(count + 3);
            const std::vector<double> coefficients = count < 1 ? std::vector<double>(1) : t.numbers(4 * count);
            show((m_engine->*set)(count, knots.data(), coefficients.data()));
        };
    }
    void axis(const char* name, int (CKor::*set)(int, const float*))
    {
        m_operations[name] = [this, set](Tokens& t) {
            if (t.null()) {
                show((m_engine->*set)(4, nullptr));
                return;
            }
            const int count = t.integer();
            const std::vector<float> table = t.singles(2 * count);
            show((m_engine->*set)(count, table.data()));
        };
    }
    void update(const char* name, void (CKorModel::*set)(float*, int))
    {
        m_operations[name] = [this, set](Tokens& t) {
            const int count = t.integer();
            std::vector<float> values = t.singles(count);
            ((**m_model).*set)(values.data(), count);
        };
    }
    void acceleration(const char* name, bool (CKorThreeVec2Level::*estimate)(const double*, const double*,
                                                                             unsigned long, double, double&))
    {
        m_operations[name] = [this, estimate](Tokens& t) {
            const std::vector<double> position = t.numbers(3);
            const std::vector<double> direction = t.numbers(3);
            const unsigned long counter = t.counter();
            const double time = t.number();
            double along = kUntouched;
            show((model<CKorThreeVec2Level>().*estimate)(position.data(), direction.data(), counter, time, along));
            show(along);
        };
    }
    void addObjects();
    void addEngine();
    void addModel();
    void addTwoLevel();
    void addSupport();

    std::map<std::string, Operation> m_operations;
    std::map<std::string, CKor*> m_engines;
    std::map<std::string, std::unique_ptr<CKorModel>> m_models;
    CKor* m_engine = nullptr;
    std::unique_ptr<CKorModel>* m_model = nullptr;
    double m_ring9[51][9] = {};
    double m_ring2[51][2] = {};
    double m_ring1[51] = {};
};

Driver::Driver()
{
    addObjects();
    addEngine();
    addModel();
    addTwoLevel();
    addSupport();
}

void Driver::addObjects()
{
    m_operations["newEngine"] = [this](Tokens& t) { m_engine = m_engines[t.word()] = new CKor; };
    m_operations["copyEngine"] = [this](Tokens& t) {
        const std::string name = t.word();
        m_engine = m_engines[name] = new CKor(*m_engines.at(t.word()));
    };
    m_operations["useEngine"] = [this](Tokens& t) { m_engine = m_engines.at(t.word()); };
    m_operations["newModel"] = [this](Tokens& t) {
        const std::string name = t.word();
        m_model = &m_models[name];
        *m_model = makeModel(t.word());
    };
    const auto addTransfer = [this](const char* name, Transfer way) {
        m_operations[name] = [this, way](Tokens& t) {
            m_model = &m_models[t.word()];
            transfer(*m_models.at(t.word()), *m_model, way);
        };
    };
    addTransfer("copyModel", Transfer::copy);
    addTransfer("moveModel", Transfer::move);
    addTransfer("assignModel", Transfer::assign);
    m_operations["useModel"] = [this](Tokens& t) { m_model = &m_models.at(t.word()); };
}

void Driver::addEngine()
{
    m_operations["Initialization"] = [this](Tokens&) { show(m_engine->Initialization()); };
    group("setScaleFactors", &CKor::setScaleFactors);
    group("setQVCParameters", &CKor::setQVCParameters);
    group("setLevel1Parameters", &CKor::setLevel1Parameters);
    group("setLevel2Parameters", &CKor::setLevel2Parameters);
    level("setLevelXComp", &CKor::setLevelXComp);
    level("setLevelYComp", &CKor::setLevelYComp);
    axis("setAzimuthComp", &CKor::setAzimuthComp);
    axis("setElevationComp", &CKor::setElevationComp);
    m_operations["setEncoderOffset"] = [this](Tokens& t) {
        const std::vector<float> v = t.singles(2);
        show(m_engine->setEncoderOffset({v[0], v[1]}));
    };
    m_operations["setTiltOffset"] = [this](Tokens& t) {
        const std::vector<float> v = t.singles(2);
        show(m_engine->setTiltOffset({v[0], v[1]}));
    };
    m_operations["setThermalFactor"] = [this](Tokens& t) {
        const std::vector<float> v = t.singles(4);
        show(m_engine->setThermalFactor({v[0], v[1], v[2], v[3]}));
    };
    m_operations["setKnownVector"] = [this](Tokens& t) {
        show(t.null() ? m_engine->setKnownVector(nullptr) : m_engine->setKnownVector(t.numbers(3).data()));
    };
    m_operations["setLocalMatrix"] = [this](Tokens& t) {
        if (t.null()) {
            show(m_engine->setLocalMatrix(nullptr, 3));
            return;
        }
        const int n = t.integer();
        show(m_engine->setLocalMatrix(t.numbers(n * n).data(), n));
    };
    m_operations["setMachineMatrix"] = [this](Tokens& t) {
        if (t.null()) {
            show(m_engine->setMachineMatrix(nullptr, 3));
            return;
        }
        const int n = t.integer();
        show(m_engine->setMachineMatrix(t.numbers(n * n).data(), n));
    };
    m_operations["setMcsFlag"] = [this](Tokens& t) { show(m_engine->setMcsFlag(t.flag())); };
    m_operations["setPSDParameters"] = [this](Tokens& t) {
        const int first = t.integer();
        const int second = t.integer();
        show(m_engine->setPSDParameters(first, second, t.integer()));
    };
    m_operations["setMountMode"] = [this](Tokens& t) { show(m_engine->setMountMode(t.integer())); };
    m_operations["loadParameterStore"] = [this](Tokens& t) {
        const std::vector<float> dynamic = t.singles(7);
        const std::vector<float> a = t.singles(3);
        const std::vector<float> b = t.singles(3);
        show(LoadParameterStore(*m_engine, dynamic.data(), a.data(), b.data()));
    };
    m_operations["getInverseAzCalib"] = [this](Tokens& t) { show(m_engine->getInverseAzCalib(t.single())); };
    m_operations["getInverseElCalib"] = [this](Tokens& t) { show(m_engine->getInverseElCalib(t.single())); };
    m_operations["sample"] = [this](Tokens& t) {
        const std::string hex = t.word();
        KOR_RAWINFO raw;
        if (hex.size() != 2 * sizeof raw) {
            throw std::runtime_error("a sample has 136 digits");
        }
        unsigned char bytes[sizeof raw];
        for (std::size_t i = 0; i < sizeof raw; ++i) {
            bytes[i] = static_cast<unsigned char>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
        }
        std::memcpy(&raw, bytes, sizeof raw);
        KOR_INFO info;
        std::memset(&info, 0xA5, sizeof info);
        m_engine->updateKORData(raw, info);
        unsigned char out[sizeof info];
        std::memcpy(out, &info, sizeof info);
        std::printf(" ");
        for (const unsigned char byte : out) {
            std::printf("%02x", byte);
        }
    };
    m_operations["ReadMatrix"] = [this](Tokens& t) {
        if (t.null()) {
            show(m_engine->ReadMatrix(nullptr));
            return;
        }
        double matrix[9];
        show(m_engine->ReadMatrix(matrix));
        show(matrix, 9);
    };
    m_operations["Calc_HV0"] = [this](Tokens& t) {
        const std::vector<double> v = t.numbers(11);
        double first = kUntouched;
        double second = kUntouched;
        CKor idle;
        CKor& engine = m_engine != nullptr ? *m_engine : idle;
        show(engine.Calc_HV0({v[0], v[1], v[2]}, {v[3], v[4], v[5]}, {v[6], v[7]}, {v[8], v[9], v[10]}, &first,
                             &second));
        show(first);
        show(second);
    };
}

void Driver::addModel()
{
    m_operations["set_iMMode"] = [this](Tokens& t) { show((**m_model).set_iMMode(t.integer())); };
    update("UpdateSFactors", &CKorModel::UpdateSFactors);
    update("UpdateQVCParameters", &CKorModel::UpdateQVCParameters);
    update("UpdateLevel1Parameters", &CKorModel::UpdateLevel1Parameters);
    update("UpdateLevel2Parameters", &CKorModel::UpdateLevel2Parameters);
    m_operations["CalTranxMatrix"] = [this](Tokens& t) {
        const std::vector<double> angles = t.numbers(2);
        std::vector<double> buffer = t.numbers(9);
        show((**m_model).CalTranxMatrix(buffer.data(), angles[0], angles[1], 3));
        show(buffer.data(), 9);
    };
    m_operations["GetQVCMatrix"] = [this](Tokens& t) {
        float out[6] = {-77, -77, -77, -77, -77, -77};
        (**m_model).GetQVCMatrix(out, t.integer());
        show(out, 6);
    };
    m_operations["SetLevelLimits"] = [this](Tokens& t) {
        const bool first = t.flag();
        (**m_model).SetLevelLimits(first, t.flag());
    };
    m_operations["SetCounter"] = [this](Tokens& t) {
        const unsigned long first = t.counter();
        (**m_model).SetCounter(first, t.counter());
    };
    m_operations["SetTimeInterval"] = [this](Tokens& t) {
        const double first = t.number();
        (**m_model).SetTimeInterval(first, t.number());
    };
    m_operations["GetLevelValues"] = [this](Tokens&) {
        float out[2] = {-77, -77};
        (**m_model).GetLevelValues(out[0], out[1]);
        show(out, 2);
    };
    m_operations["SetDynamicParameters"] = [this](Tokens& t) {
        if (t.null()) {
            (**m_model).SetDynamicParameters(nullptr);
            return;
        }
        (**m_model).SetDynamicParameters(t.singles(7).data());
    };
}

void Driver::addTwoLevel()
{
    m_operations["GetF1"] = [this](Tokens& t) {
        const std::vector<float> parameters = t.singles(7);
        const double levelDeg = t.number();
        std::vector<double> direction = t.numbers(3);
        const std::vector<double> angles = t.numbers(2);
        std::vector<double> out(9, kUntouched);
        show(model<CKorThreeVec2Level>().GetF1(parameters.data(), levelDeg, direction.data(), angles[0], angles[1], 3,
                                               out.data()));
        show(out.data(), 9);
    };
    m_operations["GetLevelAfterAccComp"] = [this](Tokens& t) {
        double levelDeg = t.number();
        model<CKorThreeVec2Level>().GetLevelAfterAccComp(levelDeg, t.number());
        show(levelDeg);
    };
    acceleration("GetAccLx", &CKorThreeVec2Level::GetAccLx);
    acceleration("GetAccLy", &CKorThreeVec2Level::GetAccLy);
    const auto average = [this](const char* name, int (CKorThreeVec2Level::*filter)(double&)) {
        m_operations[name] = [this, filter](Tokens& t) {
            double value = t.number();
            show((model<CKorThreeVec2Level>().*filter)(value));
            show(value);
        };
    };
    average("MovingFilter", &CKorThreeVec2Level::MovingFilter);
    average("MovingFilterLevelY", &CKorThreeVec2Level::MovingFilterLevelY);
    m_operations["GetF1v2"] = [this](Tokens& t) {
        const std::vector<double> levelAxis = t.numbers(3);
        const double levelDeg = t.number();
        std::vector<double> direction = t.numbers(3);
        const std::vector<double> angles = t.numbers(2);
        std::vector<double> out(9, kUntouched);
        show(model<CKorThreeVec2Levelv2>().GetF1(levelAxis.data(), levelDeg, direction.data(), angles[0], angles[1], 3,
                                                 out.data()));
        show(out.data(), 9);
    };
    m_operations["GetLevelAfterAccCompv2"] = [this](Tokens& t) {
        std::vector<double> v = t.numbers(3);
        model<CKorThreeVec2Levelv2>().GetLevelAfterAccComp(v[0], v[1], v[2]);
        show(v[0]);
        show(v[2]);
    };
    m_operations["MovingFilterv2"] = [this](Tokens& t) {
        std::vector<double> values = t.numbers(9);
        show(model<CKorThreeVec2Levelv2>().MovingFilter(m_ring9, values.data()));
        show(values.data(), 9);
    };
    m_operations["PsdMovingFilter"] = [this](Tokens& t) {
        std::vector<double> values = t.numbers(2);
        show(model<CKorThreeVec2Levelv2>().PsdMovingFilter(m_ring2, values.data()));
        show(values.data(), 2);
    };
    m_operations["AccMovingFilter"] = [this](Tokens& t) {
        double value = t.number();
        show(model<CKorThreeVec2Levelv2>().AccMovingFilter(m_ring1, value));
        show(value);
    };
}

void Driver::addSupport()
{
    m_operations["mek.MatrixMultiply"] = [](Tokens& t) {
        const int r = t.integer();
        const int n = t.integer();
        const int c = t.integer();
        const std::vector<double> a = t.numbers(r * n);
        const std::vector<double> b = t.numbers(n * c);
        std::vector<double> out(static_cast<std::size_t>(r * c));
        mek::MatrixMultiply(a.data(), b.data(), r, n, c, out.data());
        show(out.data(), out.size());
    };
    m_operations["mek.MatrixInverse"] = [](Tokens& t) {
        const int n = t.integer();
        std::vector<double> m = t.numbers(n * n);
        show(mek::MatrixInverse(m.data(), n));
        show(m.data(), m.size());
    };
    m_operations["mek.MatrixTransform"] = [](Tokens& t) {
        const int r = t.integer();
        const int c = t.integer();
        std::vector<double> m = t.numbers(r * c);
        mek::MatrixTransform(m.data(), r, c);
        show(m.data(), m.size());
    };
    m_operations["mek.CrossMultiply"] = [](Tokens& t) {
        const std::vector<double> a = t.numbers(3);
        const std::vector<double> b = t.numbers(3);
        double out[3];
        mek::CrossMultiply(a.data(), b.data(), out);
        show(out, 3);
    };
    const auto rotation = [this](const char* name, int (*rotate)(double*, double)) {
        m_operations[name] = [rotate](Tokens& t) {
            double out[9];
            rotate(out, t.number());
            show(out, 9);
        };
    };
    rotation("mek.rotation_x", [](double* m, double angle) { return mek::rotation_x(m, angle); });
    rotation("mek.rotation_y", [](double* m, double angle) { return mek::rotation_y(m, angle); });
    rotation("mek.rotation_z", [](double* m, double angle) { return mek::rotation_z(m, angle); });
    m_operations["mek.mlaRotateAroundAxis"] = [](Tokens& t) {
        const std::vector<double> axis = t.numbers(3);
        const double angle = t.number();
        const std::vector<double> v = t.numbers(3);
        double out[3];
        mek::mlaRotateAroundAxis(axis.data(), angle, v.data(), out);
        show(out, 3);
    };
    m_operations["mek.ConvertCartesianToSphericalCoordinates"] = [](Tokens& t) {
        std::vector<double> v = t.numbers(3);
        mek::ConvertCartesianToSphericalCoordinates(v.data());
        show(v.data(), 3);
    };
    m_operations["mek.solveVectorsRelAng"] = [](Tokens& t) {
        const std::vector<double> v = t.numbers(11);
        double out[3];
        show(mek::solveVectorsRelAng(&v[0], &v[3], &v[6], v[9], v[10], out));
        show(out, 3);
    };
    m_operations["mek.JPolyfit"] = [](Tokens& t) {
        const int count = t.integer();
        const int order = t.integer();
        const std::vector<double> xy = t.numbers(2 * count);
        std::vector<double> coefficients(static_cast<std::size_t>(order + 1));
        show(mek::JPolyfit(count, xy.data(), order, coefficients.data()));
        show(coefficients.data(), coefficients.size());
    };
    m_operations["mek.CubicSplines"] = [](Tokens& t) {
        const int n = t.integer();
        const std::vector<float> x = t.singles(n + 1);
        const std::vector<float> y = t.singles(n + 1);
        std::vector<double> coefficients(static_cast<std::size_t>(4 * n));
        mek::CubicSplines(x.data(), y.data(), n, coefficients.data());
        show(coefficients.data(), coefficients.size());
    };
    m_operations["mek.CalcSpline"] = [](Tokens& t) {
        const bool check = t.flag();
        const int segments = t.integer();
        const float x = t.single();
        const std::vector<float> knots = t.singles(segments + 1);
        const std::vector<double> coefficients = t.numbers(4 * segments);
        bool outOfRange = false;
        show(mek::CalcSpline(check, knots.data(), coefficients.data(), segments, x, &outOfRange));
        show(outOfRange);
    };
    const auto encoder = [this](const char* name, float (mek::CEncoder::*calibrate)(float) const) {
        m_operations[name] = [calibrate](Tokens& t) {
            const int count = t.integer();
            const std::vector<float> table = t.singles(2 * count);
            mek::CEncoder axis;
            axis.setCalTable(table.data(), count);
            show((axis.*calibrate)(t.single()));
        };
    };
    encoder("mek.encCalibration", &mek::CEncoder::encCalibration);
    encoder("mek.inverseEncCalibration", &mek::CEncoder::inverseEncCalibration);
}

} // namespace

int main(int argc, char** argv)
{
    std::ifstream file(argc == 2 ? argv[1] : "");
    if (!file) {
        std::fprintf(stderr, "usage: reference_driver SCENARIO\n");
        return 2;
    }
    Driver driver;
    std::string text;
    for (int number = 1; std::getline(file, text); ++number) {
        std::istringstream line(text);
        std::string operation;
        if (!(line >> operation) || operation[0] == '#') {
            continue;
        }
        std::printf("%d %s", number, operation.c_str());
        Tokens tokens(line);
        try {
            driver.run(operation, tokens);
            if (!tokens.done()) {
                throw std::runtime_error("too many values");
            }
        } catch (const std::exception& problem) {
            std::fprintf(stderr, "%s:%d: %s: %s\n", argv[1], number, operation.c_str(), problem.what());
            return 2;
        }
        std::printf("\n");
    }
    return 0;
}
