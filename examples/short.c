/* Orientations of a recording in thirty lines: short DIRECTORY ID RECORDING. The program's end frees the handles. */
#include <KORInterface/kor.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv)
{
    kor_prm* prm;
    kor_engine* engine;
    kor_reader* reader;
    char text[500] = "";
    if (argc != 4 || kor_prm_create(&prm) || kor_engine_create(&engine) || kor_reader_create(&reader)) {
        return 2;
    }
    int32_t status = kor_prm_read(prm, argv[1], (uint32_t)strtoul(argv[2], NULL, 10));
    kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, NULL);
    if (!status && !(status = kor_engine_configure(engine, prm, NULL))) {
        status = kor_reader_open(reader, argv[3], KOR_FORMAT_ANY);
        KOR_RAWINFO raw;
        KOR_INFO info;
        kor_sample_report report = {.size = sizeof report};
        for (size_t count; !status && !(status = kor_reader_read(reader, &raw, 1, &count)) && count == 1;) {
            kor_engine_update(engine, &raw, &info, NULL, NULL, &report);
            const float* a = info.orientationAngles; /* about x, z and y, degrees */
            printf("x %.4f, z %.4f, y %.4f: %s\n", a[0], a[1], a[2], kor_outcome_text(report.outcome));
        }
        kor_reader_problem_text(reader, KOR_TEXT_SENTENCE, text, sizeof text, NULL);
    }
    return status ? fprintf(stderr, "%s\n", *text ? text : kor_status_text(status)), 1 : 0;
}
