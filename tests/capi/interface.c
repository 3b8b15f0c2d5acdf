/* Every function of the C interface, from C: what it answers to sound arguments and to null pointers, wrong sizes and
   short buffers, and the test vectors.
     interface DATA VECTORS FOLDER
   DATA is the repository's data, VECTORS the file of test vectors, FOLDER a place for files. */
#include <KORInterface/kor.h>

#include "layout.h"

#include <errno.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CHECK(condition) check((condition) != 0, #condition, __LINE__)

static int failures = 0;
static int checks = 0;

static void check(int held, const char* what, int line)
{
    ++checks;
    if (!held && ++failures <= 40) {
        printf("line %d: %s\n", line, what);
    }
}

static const char* joined(const char* folder, const char* name)
{
    static char paths[4][1024];
    static int next = 0;
    char* const path = paths[next++ % 4];
    snprintf(path, sizeof paths[0], "%s/%s", folder, name);
    return path;
}

static void write_file(const char* path, const char* bytes, size_t size)
{
    FILE* const file = fopen(path, "wb");
    CHECK(file != NULL);
    if (file != NULL) {
        CHECK(fwrite(bytes, 1, size, file) == size);
        CHECK(fclose(file) == 0);
    }
}

static long size_of(const char* path)
{
    FILE* const file = fopen(path, "rb");
    long size = -1;
    if (file != NULL) {
        fseek(file, 0, SEEK_END);
        size = ftell(file);
        fclose(file);
    }
    return size;
}

/* A file of the data with one text in place of another. */
static void write_changed(const char* from, const char* to, const char* old_text, const char* new_text)
{
    static char bytes[400000];
    FILE* const file = fopen(from, "rb");
    CHECK(file != NULL);
    if (file == NULL) {
        return;
    }
    const size_t size = fread(bytes, 1, sizeof bytes - 1, file);
    fclose(file);
    bytes[size] = '\0';
    char* const at = strstr(bytes, old_text);
    CHECK(at != NULL && size < sizeof bytes - 1000);
    if (at != NULL) {
        memmove(at + strlen(new_text), at + strlen(old_text), strlen(at + strlen(old_text)) + 1);
        memcpy(at, new_text, strlen(new_text));
        write_file(to, bytes, strlen(bytes));
    }
}

static void texts_by_number(void)
{
    CHECK(strcmp(kor_status_text(KOR_SUCCESS), "done") == 0);
    CHECK(strstr(kor_status_text(KOR_BAD_ARGUMENT), "null") != NULL);
    CHECK(strcmp(kor_status_text(-1), "unknown status") == 0);
    CHECK(strcmp(kor_outcome_text(KOR_OUTCOME_VALID), "valid") == 0);
    CHECK(strcmp(kor_outcome_text(99), "unknown") == 0);
    CHECK(strcmp(kor_reason_text(KOR_REASON_NONE), "") == 0);
    CHECK(strcmp(kor_reason_text(KOR_REASON_FILTERS_FILLING), "the filters are still filling") == 0);
    CHECK(strcmp(kor_model_text(KOR_MODEL_POLARIZER), "polarizer") == 0);
    CHECK(strcmp(kor_spoiled_text(KOR_SPOILED_BY_NOTHING), "") == 0);
    CHECK(strlen(kor_message_text(601)) > 5);
    CHECK(strcmp(kor_message_text(600), "") == 0);
}

static void null_is_refused(void)
{
    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    kor_reader* reader = NULL;
    kor_writer* writer = NULL;
    CHECK(kor_prm_create(NULL) == 20);
    CHECK(kor_engine_create(NULL) == 20);
    CHECK(kor_reader_create(NULL) == 20);
    CHECK(kor_writer_create(NULL) == 20);
    CHECK(kor_prm_destroy(NULL) == 20);
    CHECK(kor_engine_destroy(NULL) == 20);
    CHECK(kor_reader_destroy(NULL) == 20);
    CHECK(kor_writer_destroy(NULL) == 20);
    CHECK(kor_prm_create(&prm) == 0 && prm != NULL);
    CHECK(kor_engine_create(&engine) == 0 && engine != NULL);
    CHECK(kor_reader_create(&reader) == 0 && reader != NULL);
    CHECK(kor_writer_create(&writer) == 0 && writer != NULL);

    float f[8] = {0};
    double d[9] = {0};
    int32_t i = 0;
    size_t n = 0;
    uint64_t u = 0;
    char text[8];
    F_VECTOR2 f2 = {0, 0};
    F_VECTOR4 f4 = {0, 0, 0, 0};
    D_VECTOR2 d2 = {0, 0};
    D_VECTOR3 d3 = {0, 0, 0};
    KOR_RAWINFO raw;
    memset(&raw, 0, sizeof raw);
    kor_read_report read_report = {.size = sizeof read_report};
    kor_read_finding read_finding = {.size = sizeof read_finding};
    kor_check_report check_report = {.size = sizeof check_report};
    kor_check_finding check_finding = {.size = sizeof check_finding};
    kor_sample_report sample = {.size = sizeof sample};
    kor_problem problem = {.size = sizeof problem};

    CHECK(kor_prm_read(NULL, ".", 1) == 20 && kor_prm_read(prm, NULL, 1) == 20);
    CHECK(kor_prm_read_report(NULL, &read_report) == 20 && kor_prm_read_report(prm, NULL) == 20);
    CHECK(kor_prm_read_text(NULL, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_prm_read_text(prm, 0, NULL, sizeof text, NULL) == 20);
    CHECK(kor_prm_read_finding(NULL, 0, &read_finding) == 20 && kor_prm_read_finding(prm, 0, NULL) == 20);
    CHECK(kor_prm_read_finding_text(NULL, 0, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_prm_check(NULL, ".", 1, 5) == 20 && kor_prm_check(prm, NULL, 1, 5) == 20);
    CHECK(kor_prm_check_file(NULL, ".", 5) == 20 && kor_prm_check_file(prm, NULL, 5) == 20);
    CHECK(kor_prm_check_report(NULL, &check_report) == 20 && kor_prm_check_report(prm, NULL) == 20);
    CHECK(kor_prm_check_finding(NULL, 0, &check_finding) == 20 && kor_prm_check_finding(prm, 0, NULL) == 20);
    CHECK(kor_prm_check_finding_text(NULL, 0, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_prm_get_azimuth_table(NULL, f, 1, &n) == 20 && kor_prm_get_azimuth_table(prm, f, 1, NULL) == 20);
    CHECK(kor_prm_get_elevation_table(NULL, f, 1, &n) == 20 && kor_prm_get_elevation_table(prm, f, 1, NULL) == 20);
    CHECK(kor_prm_get_level_x_table(NULL, f, d, 1, &n) == 20 && kor_prm_get_level_x_table(prm, f, d, 1, NULL) == 20);
    CHECK(kor_prm_get_level_y_table(NULL, f, d, 1, &n) == 20 && kor_prm_get_level_y_table(prm, f, d, 1, NULL) == 20);
    CHECK(kor_prm_get_scale_factors(NULL, f) == 20 && kor_prm_get_scale_factors(prm, NULL) == 20);
    CHECK(kor_prm_get_qvc_parameters(NULL, f) == 20 && kor_prm_get_qvc_parameters(prm, NULL) == 20);
    CHECK(kor_prm_get_level1_parameters(NULL, f) == 20 && kor_prm_get_level1_parameters(prm, NULL) == 20);
    CHECK(kor_prm_get_level2_parameters(NULL, f) == 20 && kor_prm_get_level2_parameters(prm, NULL) == 20);
    CHECK(kor_prm_get_dynamic_parameters(NULL, f) == 20 && kor_prm_get_dynamic_parameters(prm, NULL) == 20);
    CHECK(kor_prm_get_detector(NULL, f, f) == 20);
    CHECK(kor_prm_get_detector(prm, NULL, f) == 20 && kor_prm_get_detector(prm, f, NULL) == 20);
    CHECK(kor_prm_get_encoder_offset(NULL, &f2) == 20 && kor_prm_get_encoder_offset(prm, NULL) == 20);
    CHECK(kor_prm_get_encoder_limit(NULL, &f4) == 20 && kor_prm_get_encoder_limit(prm, NULL) == 20);
    CHECK(kor_prm_get_known_vector(NULL, d) == 20 && kor_prm_get_known_vector(prm, NULL) == 20);
    CHECK(kor_prm_get_local_matrix(NULL, d) == 20 && kor_prm_get_local_matrix(prm, NULL) == 20);
    CHECK(kor_prm_get_machine_matrix(NULL, d) == 20 && kor_prm_get_machine_matrix(prm, NULL) == 20);
    CHECK(kor_prm_get_thermal_factor(NULL, &f4) == 20 && kor_prm_get_thermal_factor(prm, NULL) == 20);
    CHECK(kor_prm_get_tilt_offset(NULL, &f2) == 20 && kor_prm_get_tilt_offset(prm, NULL) == 20);
    CHECK(kor_prm_get_level_limits(NULL, &f4) == 20 && kor_prm_get_level_limits(prm, NULL) == 20);
    CHECK(kor_prm_get_mount_mode(NULL, &i) == 20 && kor_prm_get_mount_mode(prm, NULL) == 20);
    CHECK(kor_prm_get_adm_offset(NULL, f) == 20 && kor_prm_get_adm_offset(prm, NULL) == 20);
    CHECK(kor_prm_set_scale_factors(NULL, f, 8) == 20 && kor_prm_set_scale_factors(prm, NULL, 8) == 20);
    CHECK(kor_prm_set_encoder_offset(NULL, &f2) == 20 && kor_prm_set_encoder_offset(prm, NULL) == 20);
    CHECK(kor_prm_set_known_vector(NULL, d) == 20 && kor_prm_set_known_vector(prm, NULL) == 20);
    CHECK(kor_prm_set_local_matrix(NULL, d) == 20 && kor_prm_set_local_matrix(prm, NULL) == 20);
    CHECK(kor_prm_set_machine_matrix(NULL, d) == 20 && kor_prm_set_machine_matrix(prm, NULL) == 20);
    CHECK(kor_prm_set_thermal_factor(NULL, &f4) == 20 && kor_prm_set_thermal_factor(prm, NULL) == 20);
    CHECK(kor_prm_set_tilt_offset(NULL, &f2) == 20 && kor_prm_set_tilt_offset(prm, NULL) == 20);
    CHECK(kor_prm_set_level_limits(NULL, &f4) == 20 && kor_prm_set_level_limits(prm, NULL) == 20);

    /* Nothing has been read: sound arguments do not help. */
    CHECK(kor_prm_get_azimuth_table(prm, f, 1, &n) == 551 && kor_prm_get_elevation_table(prm, f, 1, &n) == 551);
    CHECK(kor_prm_get_level_x_table(prm, f, d, 1, &n) == 551 && kor_prm_get_level_y_table(prm, f, d, 1, &n) == 551);
    CHECK(kor_prm_get_scale_factors(prm, f) == 551 && kor_prm_get_mount_mode(prm, &i) == 551);
    CHECK(kor_prm_set_scale_factors(prm, f, 8) == 551 && kor_prm_set_level_limits(prm, &f4) == 551);
    CHECK(kor_engine_configure(engine, prm, NULL) == 551);

    CHECK(kor_engine_configure(NULL, prm, NULL) == 20 && kor_engine_configure(engine, NULL, NULL) == 20);
    CHECK(kor_engine_set_scale_factors(NULL, f, 8) == 20 && kor_engine_set_scale_factors(engine, NULL, 8) == 20);
    CHECK(kor_engine_set_qvc_parameters(NULL, f, 6) == 20 && kor_engine_set_qvc_parameters(engine, NULL, 6) == 20);
    CHECK(kor_engine_set_level1_parameters(NULL, f, 7) == 20);
    CHECK(kor_engine_set_level1_parameters(engine, NULL, 7) == 20);
    CHECK(kor_engine_set_level2_parameters(NULL, f, 7) == 20);
    CHECK(kor_engine_set_level2_parameters(engine, NULL, 7) == 20);
    CHECK(kor_engine_set_level_x_table(NULL, 1, f, d) == 20 && kor_engine_set_level_x_table(engine, 1, NULL, d) == 20);
    CHECK(kor_engine_set_level_y_table(NULL, 1, f, d) == 20 && kor_engine_set_level_y_table(engine, 1, f, NULL) == 20);
    CHECK(kor_engine_set_level_x_table(engine, 0, f, d) == 20 && kor_engine_set_level_y_table(engine, -1, f, d) == 20);
    CHECK(kor_engine_set_azimuth_table(NULL, 1, f) == 20 && kor_engine_set_azimuth_table(engine, 1, NULL) == 20);
    CHECK(kor_engine_set_elevation_table(NULL, 1, f) == 20 && kor_engine_set_elevation_table(engine, 1, NULL) == 20);
    CHECK(kor_engine_set_encoder_offset(NULL, &f2) == 20 && kor_engine_set_encoder_offset(engine, NULL) == 20);
    CHECK(kor_engine_set_tilt_offset(NULL, &f2) == 20 && kor_engine_set_tilt_offset(engine, NULL) == 20);
    CHECK(kor_engine_set_thermal_factor(NULL, &f4) == 20 && kor_engine_set_thermal_factor(engine, NULL) == 20);
    CHECK(kor_engine_set_known_vector(NULL, d) == 20 && kor_engine_set_known_vector(engine, NULL) == 20);
    CHECK(kor_engine_set_local_matrix(NULL, d) == 20 && kor_engine_set_local_matrix(engine, NULL) == 20);
    CHECK(kor_engine_set_machine_matrix(NULL, d) == 20 && kor_engine_set_machine_matrix(engine, NULL) == 20);
    CHECK(kor_engine_set_mcs_flag(NULL, 1) == 20 && kor_engine_set_detector(NULL, 1, 2, 3) == 20);
    CHECK(kor_engine_set_parameter_store(NULL, f, f, f) == 20);
    CHECK(kor_engine_set_parameter_store(engine, NULL, f, f) == 20);
    CHECK(kor_engine_set_parameter_store(engine, f, NULL, f) == 20);
    CHECK(kor_engine_set_parameter_store(engine, f, f, NULL) == 20);
    CHECK(kor_engine_set_mount_mode(NULL, 5) == 20);
    CHECK(kor_engine_update(NULL, &raw, NULL, NULL, NULL, NULL) == 20);
    CHECK(kor_engine_update(engine, NULL, NULL, NULL, NULL, NULL) == 20);
    CHECK(kor_engine_update_many(NULL, &raw, 1, NULL, NULL, NULL, NULL) == 20);
    CHECK(kor_engine_update_many(engine, NULL, 1, NULL, NULL, NULL, NULL) == 20);
    CHECK(kor_engine_last_sample(NULL, &sample) == 20 && kor_engine_last_sample(engine, NULL) == 20);
    CHECK(kor_sample_text(NULL, text, sizeof text, NULL) == 20);
    CHECK(kor_engine_read_matrix(NULL, d) == 20 && kor_engine_read_matrix(engine, NULL) == 20);
    CHECK(kor_engine_inverse_azimuth(NULL, 1, f) == 20 && kor_engine_inverse_azimuth(engine, 1, NULL) == 20);
    CHECK(kor_engine_inverse_elevation(NULL, 1, f) == 20 && kor_engine_inverse_elevation(engine, 1, NULL) == 20);
    CHECK(kor_engine_home_vector(NULL, &d3, &d3, &d2, &d3, d, d, &i) == 20);
    CHECK(kor_engine_home_vector(engine, NULL, &d3, &d2, &d3, d, d, &i) == 20);
    CHECK(kor_engine_home_vector(engine, &d3, NULL, &d2, &d3, d, d, &i) == 20);
    CHECK(kor_engine_home_vector(engine, &d3, &d3, NULL, &d3, d, d, &i) == 20);
    CHECK(kor_engine_home_vector(engine, &d3, &d3, &d2, NULL, d, d, &i) == 20);
    CHECK(kor_engine_home_vector(engine, &d3, &d3, &d2, &d3, NULL, NULL, NULL) == 0);

    CHECK(kor_reader_open(NULL, "a", 0) == 20 && kor_reader_open(reader, NULL, 0) == 20);
    CHECK(kor_reader_open(reader, "a", 3) == 20 && kor_reader_open(reader, "a", -1) == 20);
    CHECK(kor_reader_read(NULL, &raw, 1, &n) == 20 && kor_reader_read(reader, NULL, 1, &n) == 20);
    CHECK(kor_reader_read(reader, &raw, 1, NULL) == 20 && kor_reader_read(reader, &raw, 0, &n) == 20);
    CHECK(kor_reader_read(reader, &raw, 1, &n) == 551 && kor_reader_close(reader) == 551);
    CHECK(kor_reader_place(NULL, &u) == 20 && kor_reader_place(reader, NULL) == 20);
    CHECK(kor_reader_place(reader, &u) == 551);
    CHECK(kor_reader_problem(NULL, &problem) == 20 && kor_reader_problem(reader, NULL) == 20);
    CHECK(kor_reader_problem_text(NULL, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_reader_problem_text(reader, 0, NULL, 0, NULL) == 20);
    CHECK(kor_reader_warnings(NULL, &n) == 20 && kor_reader_warnings(reader, NULL) == 20);
    CHECK(kor_reader_warnings(reader, &n) == 551);
    CHECK(kor_reader_warning_text(NULL, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_reader_warning_text(reader, 0, text, sizeof text, NULL) == 551);
    CHECK(kor_reader_close(NULL) == 20);

    CHECK(kor_writer_open(NULL, "a", 0) == 20 && kor_writer_open(writer, NULL, 0) == 20);
    CHECK(kor_writer_open(writer, "a", 3) == 20);
    CHECK(kor_writer_write(NULL, &raw, 1) == 20 && kor_writer_write(writer, NULL, 1) == 20);
    CHECK(kor_writer_write(writer, &raw, 1) == 551 && kor_writer_close(writer) == 551);
    CHECK(kor_writer_close(NULL) == 20);
    CHECK(kor_writer_problem(NULL, &problem) == 20 && kor_writer_problem(writer, NULL) == 20);
    CHECK(kor_writer_problem_text(NULL, 0, text, sizeof text, NULL) == 20);

    CHECK(kor_prm_destroy(prm) == 0 && kor_engine_destroy(engine) == 0);
    CHECK(kor_reader_destroy(reader) == 0 && kor_writer_destroy(writer) == 0);
}

/* Structures of later releases are longer: what they have behind the fields of this one is left alone when it is
   written, and must be zero when it is read. */
static void sizes_are_looked_at(const char* data)
{
    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    CHECK(kor_prm_create(&prm) == 0 && kor_engine_create(&engine) == 0);
    struct {
        kor_sample_report known;
        uint32_t later[4];
    } longer;
    for (uint32_t size = 0; size < sizeof longer.known; ++size) {
        longer.known.size = size;
        CHECK(kor_engine_last_sample(engine, &longer.known) == 20);
    }
    longer.known.size = 1025;
    CHECK(kor_engine_last_sample(engine, &longer.known) == 20);
    longer.known.size = UINT32_MAX;
    CHECK(kor_engine_last_sample(engine, &longer.known) == 20);
    memset(&longer, 0x5a, sizeof longer);
    longer.known.size = sizeof longer;
    CHECK(kor_engine_last_sample(engine, &longer.known) == 0);
    CHECK(longer.known.size == sizeof longer && longer.known.outcome == KOR_OUTCOME_NEVER_FED);
    CHECK(longer.later[0] == 0x5a5a5a5a && longer.later[3] == 0x5a5a5a5a);
    char line[40];
    CHECK(kor_sample_text(&longer.known, line, sizeof line, NULL) == 20);
    memset(longer.later, 0, sizeof longer.later);
    CHECK(kor_sample_text(&longer.known, line, sizeof line, NULL) == 0 && strcmp(line, "never fed") == 0);

    kor_read_report read_report = {.size = sizeof read_report - 1};
    kor_check_report check_report = {.size = sizeof check_report - 1};
    kor_problem problem = {.size = sizeof problem - 1};
    kor_sample_report sample = {.size = sizeof sample - 1};
    CHECK(kor_prm_read_report(prm, &read_report) == 20 && kor_prm_check_report(prm, &check_report) == 20);
    kor_reader* reader = NULL;
    kor_writer* writer = NULL;
    CHECK(kor_reader_create(&reader) == 0 && kor_writer_create(&writer) == 0);
    CHECK(kor_reader_problem(reader, &problem) == 20 && kor_writer_problem(writer, &problem) == 20);
    KOR_RAWINFO raw;
    memset(&raw, 0, sizeof raw);
    CHECK(kor_engine_update(engine, &raw, NULL, NULL, NULL, &sample) == 20);

    CHECK(kor_prm_read(prm, joined(data, "polarizer"), 1005) == 0);
    struct {
        kor_configure_options known;
        uint32_t later;
    } options;
    memset(&options, 0, sizeof options);
    CHECK(kor_engine_configure(engine, prm, &options.known) == 20);
    options.known.size = sizeof options;
    options.later = 1;
    CHECK(kor_engine_configure(engine, prm, &options.known) == 20);
    options.later = 0;
    CHECK(kor_engine_configure(engine, prm, &options.known) == 0);
    kor_prm_destroy(prm);
    kor_engine_destroy(engine);
    kor_reader_destroy(reader);
    kor_writer_destroy(writer);
}

static void parameter_sets(const char* data, const char* folder)
{
    kor_prm* prm = NULL;
    CHECK(kor_prm_create(&prm) == 0);
    kor_read_report report = {.size = sizeof report};
    char text[400];
    size_t length = 0;
    CHECK(kor_prm_read(prm, joined(data, "none"), 1005) == 550);
    CHECK(kor_prm_read_report(prm, &report) == 0 && report.status == 550);
    CHECK(kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, &length) == 0);
    CHECK(strstr(text, "Tg1005.prm") != NULL && strlen(text) == length);
    CHECK(kor_prm_read_text(prm, KOR_TEXT_ADVICE, text, sizeof text, &length) == 0 && length == 0);
    CHECK(kor_prm_read_text(prm, 9, text, sizeof text, &length) == 20);
    CHECK(kor_prm_read_text(prm, -1, text, sizeof text, &length) == 20);

    /* A file whose format is wrong. */
    write_changed(joined(data, "polarizer/Tg1005.prm"), joined(folder, "Tg1005.prm"), "Angle Offset", "Angle Ofset");
    CHECK(kor_prm_read(prm, folder, 1005) == 553);
    CHECK(kor_prm_read_report(prm, &report) == 0 && report.status == 553 && report.line > 1 && report.message >= 601);
    CHECK(kor_prm_read_text(prm, KOR_TEXT_FOUND, text, sizeof text, NULL) == 0 && strstr(text, "Ofset") != NULL);
    CHECK(kor_prm_read_text(prm, KOR_TEXT_EXPECTED, text, sizeof text, NULL) == 0 && text[0] != '\0');
    CHECK(kor_prm_read_text(prm, KOR_TEXT_BLOCK, text, sizeof text, NULL) == 0 && text[0] != '\0');

    /* A value that cannot be read: the file is read, and the report tells. */
    write_changed(joined(data, "polarizer/Tg1005.prm"), joined(folder, "Tg1005.prm"), "Mounting Mode\n5",
                  "Mounting Mode\nupright");
    CHECK(kor_prm_read(prm, folder, 1005) == 0);
    CHECK(kor_prm_read_report(prm, &report) == 0 && report.findings == 1 && report.all_findings == 1);
    kor_read_finding finding = {.size = sizeof finding};
    CHECK(kor_prm_read_finding(prm, 0, &finding) == 0);
    CHECK(finding.kind == KOR_FINDING_UNREADABLE_VALUE && finding.line > 10 && finding.values >= 1);
    CHECK(kor_prm_read_finding(prm, 1, &finding) == 20);
    CHECK(kor_prm_read_finding_text(prm, 1, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_prm_read_finding_text(prm, 0, KOR_TEXT_BLOCK, text, sizeof text, NULL) == 0);
    CHECK(strcmp(text, "Mounting Mode") == 0);
    CHECK(kor_prm_read_finding_text(prm, 0, KOR_TEXT_FOUND, text, sizeof text, &length) == 0 && length == 7);
    CHECK(strcmp(text, "upright") == 0);
    CHECK(kor_prm_read_finding_text(prm, 0, KOR_TEXT_FOUND, NULL, 0, &length) == 0 && length == 7);
    CHECK(kor_prm_read_finding_text(prm, 0, KOR_TEXT_FOUND, NULL, 0, NULL) == 20);
    CHECK(kor_prm_read_finding_text(prm, 0, KOR_TEXT_FOUND, NULL, 3, &length) == 20);

    /* Texts are cut off in front of a character. */
    CHECK(kor_prm_read(prm, "\xc3\xa4\xe6\xb8\xac", 7) == 550);
    CHECK(kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, &length) == 0 && length > 10);
    CHECK(strncmp(text, "\xc3\xa4\xe6\xb8\xac/Tg7.prm", 13) == 0 || strchr(text, '\\') != NULL);
    for (size_t room = 1; room <= 7; ++room) {
        char part[16];
        static const size_t fits[] = {0, 0, 0, 2, 2, 2, 5, 6};
        memset(part, '#', sizeof part);
        CHECK(kor_prm_read_text(prm, KOR_TEXT_SENTENCE, part, room, NULL) == 0 && part[room] == '#');
        CHECK(strlen(part) == fits[room] && strncmp(part, text, fits[room]) == 0);
    }

    /* The check of the same file. */
    kor_check_report checked = {.size = sizeof checked};
    CHECK(kor_prm_check(prm, folder, 1005, KOR_MODE_OF_FILE) == 0);
    CHECK(kor_prm_check_report(prm, &checked) == 0 && checked.status == 0 && checked.errors >= 1);
    CHECK(checked.findings == checked.errors + checked.warnings + checked.notes);
    kor_check_finding wrong = {.size = sizeof wrong};
    int errors = 0;
    for (uint32_t i = 0; i < checked.findings; ++i) {
        CHECK(kor_prm_check_finding(prm, i, &wrong) == 0);
        errors += wrong.severity == KOR_SEVERITY_ERROR && wrong.line == finding.line;
        for (int32_t which = KOR_TEXT_SENTENCE; which <= KOR_TEXT_RULE; ++which) {
            CHECK(kor_prm_check_finding_text(prm, i, which, text, sizeof text, &length) == 0);
            CHECK(which != KOR_TEXT_RULE || length > 3);
            CHECK(which != KOR_TEXT_FILE || length == 0);
        }
    }
    CHECK(errors >= 1);
    CHECK(kor_prm_check_finding(prm, checked.findings, &wrong) == 20);
    CHECK(kor_prm_check_finding_text(prm, checked.findings, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_prm_check_file(prm, joined(data, "none"), 5) == 550);
    CHECK(kor_prm_check_file(prm, joined(data, "polarizer/Tg1005.prm"), 5) == 0);
    CHECK(kor_prm_check_report(prm, &checked) == 0 && checked.errors == 0);

    /* Tables, groups and their replacement. */
    CHECK(kor_prm_read(prm, joined(data, "two_level"), 1009) == 0);
    size_t count = 0;
    float table[4096];
    double coefficients[4096];
    CHECK(kor_prm_get_azimuth_table(prm, NULL, 0, &count) == 20 && count > 1);
    CHECK(kor_prm_get_azimuth_table(prm, table, count - 1, &count) == 20);
    CHECK(kor_prm_get_azimuth_table(prm, table, count, &count) == 0 && table[2] > table[0]);
    CHECK(kor_prm_get_elevation_table(prm, table, 2048, &count) == 0 && count > 1 && table[2] > table[0]);
    CHECK(kor_prm_get_level_x_table(prm, table, coefficients, 1, &count) == 20 && count > 1);
    CHECK(kor_prm_get_level_x_table(prm, table, NULL, count, &count) == 20);
    CHECK(kor_prm_get_level_x_table(prm, table, coefficients, count, &count) == 0 && table[1] > table[0]);
    CHECK(kor_prm_get_level_y_table(prm, table, coefficients, 1024, &count) == 0 && table[1] > table[0]);
    float f[8] = {0};
    float g[8] = {0};
    double d[9] = {0};
    double e[9] = {0};
    F_VECTOR2 f2 = {0, 0};
    F_VECTOR4 f4 = {0, 0, 0, 0};
    int32_t mode = 0;
    CHECK(kor_prm_get_mount_mode(prm, &mode) == 0 && mode == 9);
    CHECK(kor_prm_get_qvc_parameters(prm, f) == 0 && kor_prm_get_level1_parameters(prm, f) == 0);
    CHECK(kor_prm_get_level2_parameters(prm, f) == 0 && kor_prm_get_dynamic_parameters(prm, f) == 0);
    CHECK(kor_prm_get_detector(prm, f, g) == 0 && kor_prm_get_adm_offset(prm, f) == 0);
    CHECK(kor_prm_get_encoder_limit(prm, &f4) == 0 && f4.y > f4.x && f4.w > f4.z);
    const float scale[2] = {0.5F, 0.25F};
    CHECK(kor_prm_set_scale_factors(prm, scale, 2) == 0 && kor_prm_set_scale_factors(prm, scale, 9) == 20);
    CHECK(kor_prm_get_scale_factors(prm, f) == 0 && f[0] == 0.5F && f[1] == 0.25F);
    const F_VECTOR2 offset = {0.125F, -0.5F};
    CHECK(kor_prm_set_encoder_offset(prm, &offset) == 0 && kor_prm_get_encoder_offset(prm, &f2) == 0);
    CHECK(f2.x == offset.x && f2.y == offset.y);
    const F_VECTOR2 tilt = {3.0F, 4.0F};
    CHECK(kor_prm_set_tilt_offset(prm, &tilt) == 0 && kor_prm_get_tilt_offset(prm, &f2) == 0);
    CHECK(f2.x == tilt.x && f2.y == tilt.y);
    const F_VECTOR4 factor = {1.0F, 2.0F, 3.0F, 4.0F};
    CHECK(kor_prm_set_thermal_factor(prm, &factor) == 0 && kor_prm_get_thermal_factor(prm, &f4) == 0);
    CHECK(f4.x == 1.0F && f4.w == 4.0F);
    const F_VECTOR4 limits = {-1.0F, 1.0F, -2.0F, 2.0F};
    CHECK(kor_prm_set_level_limits(prm, &limits) == 0 && kor_prm_get_level_limits(prm, &f4) == 0);
    CHECK(f4.x == -1.0F && f4.w == 2.0F);
    for (int i = 0; i < 9; ++i) {
        d[i] = i + 0.5;
    }
    CHECK(kor_prm_set_local_matrix(prm, d) == 0 && kor_prm_get_local_matrix(prm, e) == 0);
    CHECK(memcmp(d, e, sizeof d) == 0);
    d[0] = -1;
    CHECK(kor_prm_set_machine_matrix(prm, d) == 0 && kor_prm_get_machine_matrix(prm, e) == 0);
    CHECK(memcmp(d, e, sizeof d) == 0);
    CHECK(kor_prm_set_known_vector(prm, d + 3) == 0 && kor_prm_get_known_vector(prm, e) == 0);
    CHECK(memcmp(d + 3, e, 3 * sizeof *d) == 0);
    kor_prm_destroy(prm);
}

/* An engine that is configured by hand answers as one that the parameter set has configured. */
static void engines_by_hand(const char* data)
{
    enum { kSamples = 400 };
    static KOR_RAWINFO raw[kSamples];
    static KOR_INFO info[2][kSamples];
    static double matrices[2][9 * kSamples];
    static int32_t codes[2][kSamples];
    static int32_t outcomes[2][kSamples];
    kor_prm* prm = NULL;
    kor_engine* engines[2] = {NULL, NULL};
    kor_reader* reader = NULL;
    size_t count = 0;
    CHECK(kor_reader_create(&reader) == 0);
    CHECK(kor_reader_open(reader, joined(data, "three_vector/three_vector.csv"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, raw, kSamples, &count) == 0 && count == kSamples);
    kor_reader_destroy(reader);
    CHECK(kor_prm_create(&prm) == 0 && kor_prm_read(prm, joined(data, "three_vector"), 1007) == 0);
    CHECK(kor_engine_create(&engines[0]) == 0 && kor_engine_create(&engines[1]) == 0);
    const kor_configure_options options = {.size = sizeof options,
                                           .has_mount_mode = 1,
                                           .mount_mode = 7,
                                           .has_mcs_flag = 1,
                                           .mcs_flag = 0,
                                           .parameter_store = 1,
                                           .has_detector = 1,
                                           .detector = {120, -70, 1000}};
    CHECK(kor_engine_configure(engines[0], prm, &options) == 0);

    kor_engine* const e = engines[1];
    static float table[4096];
    static double coefficients[4096];
    float f[8];
    float g[8];
    float h[8];
    double d[9];
    F_VECTOR2 f2;
    F_VECTOR4 f4;
    CHECK(kor_prm_get_azimuth_table(prm, table, 2048, &count) == 0);
    CHECK(kor_engine_set_azimuth_table(e, (int32_t)count, table) == 0);
    CHECK(kor_engine_set_azimuth_table(e, (int32_t)count + 1, table) == 20);
    CHECK(kor_prm_get_elevation_table(prm, table, 2048, &count) == 0);
    CHECK(kor_engine_set_elevation_table(e, (int32_t)count, table) == 0);
    CHECK(kor_prm_get_level_x_table(prm, table, coefficients, 1024, &count) == 0);
    CHECK(kor_engine_set_level_x_table(e, (int32_t)count, table, coefficients) == 0);
    CHECK(kor_engine_set_level_x_table(e, (int32_t)count + 1, table, coefficients) == 20);
    CHECK(kor_prm_get_level_y_table(prm, table, coefficients, 1024, &count) == 0);
    CHECK(kor_engine_set_level_y_table(e, (int32_t)count, table, coefficients) == 0);
    CHECK(kor_prm_get_encoder_offset(prm, &f2) == 0 && kor_engine_set_encoder_offset(e, &f2) == 0);
    CHECK(kor_prm_get_tilt_offset(prm, &f2) == 0 && kor_engine_set_tilt_offset(e, &f2) == 0);
    CHECK(kor_prm_get_thermal_factor(prm, &f4) == 0 && kor_engine_set_thermal_factor(e, &f4) == 0);
    CHECK(kor_prm_get_known_vector(prm, d) == 0 && kor_engine_set_known_vector(e, d) == 0);
    CHECK(kor_prm_get_local_matrix(prm, d) == 0 && kor_engine_set_local_matrix(e, d) == 0);
    CHECK(kor_prm_get_machine_matrix(prm, d) == 0 && kor_engine_set_machine_matrix(e, d) == 0);
    CHECK(kor_prm_get_level1_parameters(prm, f) == 0 && kor_engine_set_level1_parameters(e, f, 7) == 0);
    CHECK(kor_prm_get_level2_parameters(prm, f) == 0 && kor_engine_set_level2_parameters(e, f, 7) == 0);
    CHECK(kor_prm_get_qvc_parameters(prm, f) == 0 && kor_engine_set_qvc_parameters(e, f, 6) == 0);
    CHECK(kor_prm_get_scale_factors(prm, f) == 0 && kor_engine_set_scale_factors(e, f, 8) == 0);
    CHECK(kor_prm_get_dynamic_parameters(prm, f) == 0 && kor_prm_get_detector(prm, g, h) == 0);
    CHECK(kor_engine_set_parameter_store(e, f, g, h) == 0);
    CHECK(kor_engine_set_detector(e, 120, -70, 1000) == 0 && kor_engine_set_mcs_flag(e, 0) == 0);

    /* Before the mount mode is chosen, samples are refused. */
    kor_sample_report report = {.size = sizeof report};
    int32_t code = -1;
    CHECK(kor_engine_update(e, raw, info[1], matrices[1], &code, &report) == 0);
    CHECK(report.outcome == KOR_OUTCOME_NO_MODEL && code == KOR_NO_MATRIX && report.model == KOR_MODEL_NONE);
    CHECK(kor_engine_set_mount_mode(e, 7) == 0);

    CHECK(kor_engine_update_many(engines[0], raw, kSamples, info[0], matrices[0], codes[0], outcomes[0]) == 0);
    for (int i = 0; i < kSamples; ++i) {
        CHECK(kor_engine_update(e, &raw[i], &info[1][i], matrices[1] + 9 * i, &codes[1][i], &report) == 0);
        outcomes[1][i] = report.outcome;
    }
    CHECK(memcmp(info[0], info[1], sizeof info[0]) == 0);
    CHECK(memcmp(matrices[0], matrices[1], sizeof matrices[0]) == 0);
    CHECK(memcmp(codes[0], codes[1], sizeof codes[0]) == 0);
    CHECK(memcmp(outcomes[0], outcomes[1], sizeof outcomes[0]) == 0);
    CHECK(outcomes[0][kSamples - 1] == KOR_OUTCOME_VALID && report.model == KOR_MODEL_THREE_VECTORS);

    /* Everything that is given out may be left out. */
    CHECK(kor_engine_update_many(engines[0], raw, 5, NULL, NULL, NULL, NULL) == 0);
    CHECK(kor_engine_update_many(engines[0], NULL, 0, NULL, NULL, NULL, NULL) == 0);
    CHECK(kor_engine_update(e, raw, NULL, NULL, NULL, NULL) == 0);
    CHECK(kor_engine_last_sample(e, &report) == 0 && report.outcome == KOR_OUTCOME_VALID);
    char text[8];
    size_t length = 0;
    CHECK(kor_sample_text(&report, text, sizeof text, &length) == 0 && strcmp(text, "valid") == 0 && length == 5);
    CHECK(kor_sample_text(&report, text, 3, &length) == 0 && strcmp(text, "va") == 0 && length == 5);
    CHECK(kor_engine_read_matrix(e, d) == 0 && fabs(d[0] * d[0] + d[3] * d[3] + d[6] * d[6] - 1) < 1e-12);
    kor_engine_destroy(engines[0]);
    kor_engine_destroy(engines[1]);
    kor_prm_destroy(prm);
}

static void recordings(const char* data, const char* folder)
{
    enum { kSamples = 2500 };
    static KOR_RAWINFO raw[kSamples];
    static KOR_RAWINFO again[kSamples];
    size_t count = 0;
    size_t read = 0;
    char text[400];
    uint64_t place = 0;
    kor_reader* reader = NULL;
    kor_writer* writer = NULL;
    kor_problem problem = {.size = sizeof problem};
    CHECK(kor_reader_create(&reader) == 0 && kor_writer_create(&writer) == 0);
    CHECK(kor_reader_open(reader, joined(data, "polarizer/polarizer.csv"), KOR_FORMAT_CSV) == 0);
    CHECK(kor_reader_read(reader, raw, 7, &count) == 0 && count == 7);
    CHECK(kor_reader_place(reader, &place) == 0 && place == 8);
    CHECK(kor_reader_read(reader, raw + 7, kSamples - 7, &count) == 0 && count == 2393);
    CHECK(kor_reader_read(reader, raw, 1, &count) == 0 && count == 0);
    CHECK(kor_reader_problem(reader, &problem) == 0 && problem.status == 0);
    CHECK(kor_reader_warnings(reader, &count) == 0 && count == 0);
    CHECK(kor_reader_warning_text(reader, 0, text, sizeof text, NULL) == 20);
    CHECK(kor_reader_close(reader) == 0 && kor_reader_close(reader) == 551);

    /* Written in both forms and read again: the same samples, and the binary form is that of the shipped file. */
    const char* const names[] = {"r.csv", "r.korraw", "r.bin"};
    const int32_t formats[] = {KOR_FORMAT_ANY, KOR_FORMAT_ANY, KOR_FORMAT_BINARY};
    for (int i = 0; i < 3; ++i) {
        char path[1024];
        snprintf(path, sizeof path, "%s", joined(folder, names[i]));
        CHECK(kor_writer_open(writer, path, formats[i]) == 0);
        CHECK(kor_writer_write(writer, raw, 1000) == 0 && kor_writer_write(writer, raw + 1000, 1400) == 0);
        CHECK(kor_writer_write(writer, NULL, 0) == 0);
        CHECK(size_of(path) == -1);
        CHECK(kor_writer_close(writer) == 0);
        CHECK(i == 0 || size_of(path) == 2400 * 68);
        CHECK(kor_reader_open(reader, path, formats[i]) == 0);
        CHECK(kor_reader_read(reader, again, kSamples, &read) == 0 && read == 2400);
        CHECK(memcmp(raw, again, 2400 * sizeof *raw) == 0);
    }
    CHECK(kor_reader_open(reader, joined(data, "polarizer/polarizer.korraw"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, again, kSamples, &read) == 0 && read == 2400);
    CHECK(memcmp(raw, again, 2400 * sizeof *raw) == 0);
    CHECK(kor_reader_place(reader, &place) == 0 && place == 2400);

    /* What is not closed is dropped, and leaves what was there. */
    CHECK(kor_writer_open(writer, joined(folder, "r.korraw"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_writer_write(writer, raw, 1) == 0);
    CHECK(kor_writer_open(writer, joined(folder, "dropped.csv"), KOR_FORMAT_ANY) == 0);
    kor_writer_destroy(writer);
    CHECK(size_of(joined(folder, "r.korraw")) == 2400 * 68 && size_of(joined(folder, "dropped.csv")) == -1);
    writer = NULL;
    CHECK(kor_writer_create(&writer) == 0);

    /* A bad row: where, what was found, what was expected; the next call goes on behind it. */
    write_changed(joined(folder, "r.csv"), joined(folder, "bad.csv"), "\n2,", "\ntwo,");
    CHECK(kor_reader_open(reader, joined(folder, "bad.csv"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, again, kSamples, &read) == 553 && read == 0);
    CHECK(kor_reader_problem(reader, &problem) == 0 && problem.status == 553 && problem.line == 2);
    CHECK(problem.goes_on == 1 && problem.out_of_memory == 0 && problem.record == 0);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_FIELD, text, sizeof text, NULL) == 0);
    CHECK(strcmp(text, "status") == 0);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_FOUND, text, sizeof text, NULL) == 0 && strstr(text, "two") != NULL);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_EXPECTED, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "number") != NULL);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_FILE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "bad.csv") != NULL);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_SENTENCE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "line 2, column status: found \"two\", expected ") != NULL);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_RULE, text, sizeof text, NULL) == 0 && text[0] == '\0');
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_REASON, text, sizeof text, NULL) == 0);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_RULE + 1, text, sizeof text, NULL) == 20);
    CHECK(kor_reader_read(reader, again, kSamples, &read) == 0 && read == 2399);
    CHECK(memcmp(raw + 1, again, 2399 * sizeof *raw) == 0);
    CHECK(kor_reader_problem(reader, &problem) == 0 && problem.status == 0 && problem.goes_on == 0);

    /* A column that is none of a recording's. */
    write_changed(joined(folder, "r.csv"), joined(folder, "more.csv"), "timeStampMs\n", "timeStampMs,mood\n");
    write_changed(joined(folder, "more.csv"), joined(folder, "more.csv"), "mood\n",
                  "mood\n2,0,0,0,0,0,0,0,0,0,0,0,0,0,0,fine\n");
    CHECK(kor_reader_open(reader, joined(folder, "more.csv"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, again, 1, &read) == 0 && read == 1 && again[0].status == 2);
    CHECK(kor_reader_warnings(reader, &count) == 0 && count == 1);
    CHECK(kor_reader_warning_text(reader, 0, text, sizeof text, NULL) == 0 && strstr(text, "mood") != NULL);

    /* A binary recording that is cut off: everything before the cut, and nothing goes on behind it. */
    write_file(joined(folder, "cut.korraw"), (const char*)raw, 3 * sizeof *raw - 5);
    CHECK(kor_reader_open(reader, joined(folder, "cut.korraw"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, again, kSamples, &read) == 553 && read == 2);
    CHECK(kor_reader_problem(reader, &problem) == 0 && problem.record == 3 && problem.byte == 136);
    while (problem.goes_on == 1 && kor_reader_read(reader, again, kSamples, &read) != 0) {
        CHECK(kor_reader_problem(reader, &problem) == 0);
    }
    CHECK(read == 0 || problem.goes_on == 0);

#ifdef __linux__
    /* A full device: the write that finds it says so, and so does the end. */
    CHECK(kor_writer_open(writer, "/dev/full", KOR_FORMAT_BINARY) == 0);
    int status = 0;
    for (int i = 0; i < 100 && status == 0; ++i) {
        status = kor_writer_write(writer, raw, kSamples);
    }
    CHECK(status == 550);
    CHECK(kor_writer_problem_text(writer, KOR_TEXT_SENTENCE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "cannot write ") == text && strstr(text, "/dev/full") != NULL);
    CHECK(kor_writer_close(writer) == 550);
#endif

    /* Compressed recordings are refused, with advice. */
    write_file(joined(folder, "c.csv.gz"), "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10);
    CHECK(kor_reader_open(reader, joined(folder, "c.csv.gz"), KOR_FORMAT_ANY) == 553);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_REASON, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "cannot read gzip") != NULL);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_ADVICE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "decompress the file first") != NULL);
    write_file(joined(folder, "c.csv.zst"), "\x28\xb5\x2f\xfd\x00\x00", 6);
    CHECK(kor_reader_open(reader, joined(folder, "c.csv.zst"), KOR_FORMAT_ANY) == 553);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_REASON, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "cannot read Zstandard") != NULL);
    const char* const packed[] = {"w.csv.gz", "w.csv.zst"};
    for (int i = 0; i < 2; ++i) {
        CHECK(kor_writer_open(writer, joined(folder, packed[i]), KOR_FORMAT_ANY) == 550);
        CHECK(kor_writer_problem_text(writer, KOR_TEXT_REASON, text, sizeof text, NULL) == 0);
        CHECK(strstr(text, i == 0 ? "cannot write gzip" : "cannot write Zstandard") != NULL);
        CHECK(kor_writer_problem_text(writer, KOR_TEXT_ADVICE, text, sizeof text, NULL) == 0);
        CHECK(strstr(text, "without that ending") != NULL);
        CHECK(size_of(joined(folder, packed[i])) == -1);
    }

    /* Files and folders that are not there. */
    CHECK(kor_reader_open(reader, joined(folder, "none.csv"), KOR_FORMAT_ANY) == 550);
    CHECK(kor_reader_problem(reader, &problem) == 0 && problem.status == 550);
    CHECK(kor_reader_problem_text(reader, KOR_TEXT_SENTENCE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "cannot open ") == text && strstr(text, "none.csv") != NULL);
    CHECK(kor_writer_open(writer, joined(folder, "none/r.csv"), KOR_FORMAT_ANY) == 550);
    CHECK(kor_writer_problem(writer, &problem) == 0 && problem.status == 550);
    CHECK(kor_writer_problem_text(writer, KOR_TEXT_SENTENCE, text, sizeof text, NULL) == 0);
    CHECK(strstr(text, "cannot create ") == text);
    CHECK(kor_reader_destroy(reader) == 0 && kor_writer_destroy(writer) == 0);
}

/* A sample that is not finite spoils those behind it, until the values of the process are made fresh. */
static void spoiled_samples(const char* data)
{
    enum { kSamples = 200 };
    static KOR_RAWINFO raw[kSamples];
    static double clean[9 * kSamples];
    static double after[9 * kSamples];
    size_t count = 0;
    kor_prm* prm = NULL;
    kor_reader* reader = NULL;
    CHECK(kor_reader_create(&reader) == 0);
    CHECK(kor_reader_open(reader, joined(data, "two_level/two_level.csv"), KOR_FORMAT_ANY) == 0);
    CHECK(kor_reader_read(reader, raw, kSamples, &count) == 0 && count == kSamples);
    kor_reader_destroy(reader);
    CHECK(kor_prm_create(&prm) == 0 && kor_prm_read(prm, joined(data, "two_level"), 1009) == 0);
    for (int run = 0; run < 2; ++run) {
        kor_engine* engine = NULL;
        kor_sample_report report = {.size = sizeof report};
        char text[200];
        CHECK(kor_fresh_process_values() == 0);
        CHECK(kor_engine_create(&engine) == 0 && kor_engine_configure(engine, prm, NULL) == 0);
        CHECK(kor_engine_update_many(engine, raw, kSamples, NULL, run == 0 ? clean : after, NULL, NULL) == 0);
        KOR_RAWINFO bad = raw[kSamples - 1];
        bad.sensorVector[0] = (float)NAN;
        bad.timeStampMs += 10;
        CHECK(kor_engine_update(engine, &bad, NULL, NULL, NULL, NULL) == 0);
        bad.sensorVector[0] = raw[kSamples - 1].sensorVector[0];
        bad.timeStampMs += 10;
        CHECK(kor_engine_update(engine, &bad, NULL, NULL, NULL, &report) == 0);
        CHECK(report.outcome == KOR_OUTCOME_SPOILED && report.spoiled_by == KOR_SPOILED_BY_PROCESS_VALUES);
        CHECK(report.spoiled_since == kSamples + 1);
        CHECK(kor_sample_text(&report, text, sizeof text, NULL) == 0 && strstr(text, "since sample 201") != NULL);
        kor_engine_destroy(engine);
    }
    CHECK(memcmp(clean, after, sizeof clean) == 0);
    CHECK(kor_fresh_process_values() == 0);
    kor_prm_destroy(prm);
}

/* The numbers of a line of the vectors, one behind the other. */
static char* next_word;

static const char* word(void)
{
    char* const at = next_word;
    char* const end = at + strcspn(at, ",\r\n");
    next_word = *end == ',' ? end + 1 : end;
    *end = '\0';
    return at;
}

static double real(void)
{
    const char* const text = word();
    char* end = NULL;
    const double value = strtod(text, &end);
    CHECK(end != text && *end == '\0');
    return value;
}

static float single(void)
{
    const char* const text = word();
    char* end = NULL;
    const float value = strtof(text, &end);
    CHECK(end != text && *end == '\0');
    return value;
}

static int32_t whole(void)
{
    const char* const text = word();
    char* end = NULL;
    const long value = strtol(text, &end, 10);
    CHECK(end != text && *end == '\0');
    return (int32_t)value;
}

static void close_to(double found, double wanted, double tolerance, const char* what, int line)
{
    ++checks;
    if (!(found == wanted || fabs(found - wanted) <= tolerance || (isnan(found) && isnan(wanted))) &&
        ++failures <= 40) {
        printf("vectors, line %d: %s: found %.17g, expected %.17g\n", line, what, found, wanted);
    }
}

/* Two units in the last place of a float: what other mathematical functions may make of it. */
static double two_ulps(double value)
{
    return 2 * (nextafterf((float)fabs(value), INFINITY) - (float)fabs(value));
}

/* The head of the file says what the lines mean and where the tolerances come from. */
static void vectors(const char* data, const char* path)
{
    static char line[4096];
    int number = 0;
    int samples = 0;
    int scenarios = 0;
    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    FILE* const file = fopen(path, "r");
    CHECK(file != NULL);
    while (file != NULL && fgets(line, sizeof line, file) != NULL) {
        ++number;
        next_word = line;
        if (line[0] == '#' || line[0] == '\n' || line[0] == '\r') {
            continue;
        }
        const char* const kind = word();
        if (strcmp(kind, "scenario") == 0) {
            ++scenarios;
            kor_prm_destroy(prm);
            kor_engine_destroy(engine);
            word(); /* its name */
            const char* const folder = joined(data, word());
            CHECK(kor_prm_create(&prm) == 0 && kor_engine_create(&engine) == 0);
            CHECK(kor_prm_read(prm, folder, (uint32_t)whole()) == 0);
            kor_configure_options options = {.size = sizeof options, .has_mount_mode = 1, .has_mcs_flag = 1};
            options.mount_mode = whole();
            options.mcs_flag = whole();
            options.parameter_store = whole();
            options.has_detector = 1;
            for (int i = 0; i < 3; ++i) {
                options.detector[i] = whole();
            }
            CHECK(kor_fresh_process_values() == 0 && kor_engine_configure(engine, prm, &options) == 0);
        } else if (strcmp(kind, "sample") == 0) {
            ++samples;
            KOR_RAWINFO raw;
            KOR_INFO info;
            double matrix[9];
            int32_t code = 0;
            kor_sample_report report = {.size = sizeof report};
            memset(&raw, 0, sizeof raw);
            raw.status = whole();
            for (int i = 0; i < 3; ++i) {
                raw.sensorVector[i] = single();
            }
            raw.azimuthRaw = single();
            raw.elevationRaw = single();
            raw.levelXRaw = single();
            raw.levelYRaw = single();
            raw.levelTemperature = single();
            raw.referenceGate = single();
            raw.referenceHold = (uint8_t)whole();
            for (int i = 0; i < 3; ++i) {
                raw.temperatureCount[i] = whole();
            }
            raw.timeStampMs = (uint32_t)real();
            CHECK(kor_engine_update(engine, &raw, &info, matrix, &code, &report) == 0);
            const float found[13] = {info.azimuth,
                                     info.elevation,
                                     info.levelX,
                                     info.levelY,
                                     info.orientationAngles[0],
                                     info.orientationAngles[1],
                                     info.orientationAngles[2],
                                     info.sensorOut[0],
                                     info.sensorOut[1],
                                     info.sensorOut[2],
                                     info.temperature[0],
                                     info.temperature[1],
                                     info.temperature[2]};
            for (int i = 0; i < 13; ++i) {
                const double wanted = (double)single();
                close_to(found[i], wanted, i >= 4 && i < 7 ? 3.5e-6 : two_ulps(wanted), "a value of the result",
                         number);
            }
            for (int i = 0; i < 9; ++i) {
                close_to(matrix[i], real(), 1.6e-14, "an element of the matrix", number);
            }
            close_to(code, whole(), 0, "the code", number);
            close_to(report.outcome, whole(), 0, "the outcome", number);
            close_to(report.reason, whole(), 0, "the reason", number);
        } else if (strcmp(kind, "inverse") == 0) {
            float readings[2] = {0, 0};
            CHECK(kor_engine_inverse_azimuth(engine, single(), &readings[0]) == 0);
            CHECK(kor_engine_inverse_elevation(engine, single(), &readings[1]) == 0);
            for (int i = 0; i < 2; ++i) {
                const double wanted = (double)single();
                close_to(readings[i], wanted, two_ulps(wanted), "a reading of an encoder", number);
            }
        } else if (strcmp(kind, "home") == 0) {
            double in[10];
            for (int i = 0; i < 10; ++i) {
                in[i] = real();
            }
            const D_VECTOR3 a = {in[0], in[1], in[2]};
            const D_VECTOR3 b = {in[3], in[4], in[5]};
            const D_VECTOR2 reference = {in[6], in[7]};
            const D_VECTOR3 measured = {in[8], in[9], 0};
            double first = 0;
            double second = 0;
            int32_t solved = -1;
            CHECK(kor_engine_home_vector(engine, &a, &b, &reference, &measured, &first, &second, &solved) == 0);
            close_to(first, real(), 1e-11, "the first angle", number);
            close_to(second, real(), 1e-11, "the second angle", number);
            close_to(solved, whole(), 0, "whether it is solved", number);
        } else {
            CHECK(!"a line of the vectors is known");
        }
        CHECK(*next_word == '\0');
    }
    if (file != NULL) {
        fclose(file);
    }
    kor_prm_destroy(prm);
    kor_engine_destroy(engine);
    CHECK(scenarios >= 15 && samples >= 500);
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: interface DATA VECTORS FOLDER\n");
        return 2;
    }
    texts_by_number();
    null_is_refused();
    sizes_are_looked_at(argv[1]);
    parameter_sets(argv[1], argv[3]);
    engines_by_hand(argv[1]);
    recordings(argv[1], argv[3]);
    spoiled_samples(argv[1]);
    vectors(argv[1], argv[2]);
    printf("%d checks, %d failed\n", checks, failures);
    return failures == 0 ? 0 : 1;
}
