/* Counts the samples with an orientation, reading and feeding a thousand at a time: many DIRECTORY ID RECORDING */
#include <KORInterface/kor.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

static int32_t feed(kor_reader* reader, kor_engine* engine)
{
    unsigned long samples = 0, valid = 0;
    int32_t status;
    KOR_RAWINFO raw[1000];
    KOR_INFO info[1000];
    double matrices[9 * 1000];
    int32_t codes[1000], outcomes[1000];
    size_t count;
    do {
        status = kor_reader_read(reader, raw, 1000, &count);
        kor_engine_update_many(engine, raw, count, info, matrices, codes, outcomes);
        for (size_t i = 0; i < count; ++i) {
            valid += outcomes[i] == KOR_OUTCOME_VALID;
        }
        samples += (unsigned long)count;
    } while (status == KOR_SUCCESS && count > 0);
    printf("%lu samples, %lu with an orientation\n", samples, valid);
    return status;
}

int main(int argc, char** argv)
{
    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    kor_reader* reader = NULL;
    char text[500] = "";
    if (argc != 4 || kor_prm_create(&prm) || kor_engine_create(&engine) || kor_reader_create(&reader)) {
        fprintf(stderr, "%s\n", argc != 4 ? "usage: many DIRECTORY ID RECORDING" : "there is not enough memory");
        return 2;
    }
    int32_t status = kor_prm_read(prm, argv[1], (uint32_t)strtoul(argv[2], NULL, 10));
    kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, NULL);
    if (status == KOR_SUCCESS && (status = kor_engine_configure(engine, prm, NULL)) != KOR_SUCCESS) {
        snprintf(text, sizeof text, "the engine cannot be configured: %s", kor_status_text(status));
    }
    if (status == KOR_SUCCESS) {
        status = kor_reader_open(reader, argv[3], KOR_FORMAT_ANY);
        if (status == KOR_SUCCESS) {
            status = feed(reader, engine);
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
