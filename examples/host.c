/* Orientations of a recording: host DIRECTORY ID RECORDING (CSV or binary) */
#include <KORInterface/kor.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv)
{
    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    kor_reader* reader = NULL;
    char text[500] = "usage: host DIRECTORY ID RECORDING";
    if (argc != 4 || kor_prm_create(&prm) || kor_engine_create(&engine) || kor_reader_create(&reader)) {
        fprintf(stderr, "%s\n", argc != 4 ? text : "there is not enough memory");
        return 2;
    }
    int32_t status = kor_prm_read(prm, argv[1], (uint32_t)strtoul(argv[2], NULL, 10));
    kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, NULL);
    if (status == KOR_SUCCESS && (status = kor_engine_configure(engine, prm, NULL)) != KOR_SUCCESS) {
        snprintf(text, sizeof text, "the engine cannot be configured: %s", kor_status_text(status));
    }
    if (status == KOR_SUCCESS) {
        status = kor_reader_open(reader, argv[3], KOR_FORMAT_ANY);
        KOR_RAWINFO raw;
        KOR_INFO info;
        kor_sample_report report = {.size = sizeof report};
        for (size_t count = 1; status == KOR_SUCCESS && count == 1;) {
            status = kor_reader_read(reader, &raw, 1, &count);
            if (count == 1 && kor_engine_update(engine, &raw, &info, NULL, NULL, &report) == KOR_SUCCESS) {
                const float* a = info.orientationAngles; /* about x, z and y */
                printf("%" PRIu32 " ms: ", raw.timeStampMs);
                if (report.outcome == KOR_OUTCOME_VALID) {
                    printf("x %.4f, z %.4f, y %.4f deg\n", (double)a[0], (double)a[1], (double)a[2]);
                } else {
                    printf("%s\n", kor_outcome_text(report.outcome));
                }
            }
        }
        kor_reader_problem_text(reader, KOR_TEXT_SENTENCE, text, sizeof text, NULL);
    }
    if (status != KOR_SUCCESS) {
        fprintf(stderr, "%s\n", text);
    }
    kor_reader_destroy(reader);
    kor_engine_destroy(engine);
    kor_prm_destroy(prm);
    return status == KOR_SUCCESS ? 0 : 1;
}
