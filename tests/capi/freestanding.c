/* A host without a C library, for compilers that have none for Windows at hand: the layouts hold, and the results of a
   recording go to standard output as KOR_INFO records.
     freestanding DIRECTORY ID RECORDING */
#include "layout.h"

__declspec(dllimport) void* __stdcall GetStdHandle(unsigned long which);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* bytes, unsigned long count, unsigned long* done,
                                              void* overlapped);
__declspec(dllimport) char* __stdcall GetCommandLineA(void);
__declspec(dllimport) __declspec(noreturn) void __stdcall ExitProcess(unsigned int status);

/* What a compiler takes for granted. */
int _fltused = 0;

void* memset(void* into, int byte, size_t count)
{
    volatile unsigned char* at = into;
    while (count-- > 0) {
        *at++ = (unsigned char)byte;
    }
    return into;
}

/* The last words of the command line, which have no blanks in them here. */
static char* word_before(char** end, char* begin)
{
    char* at = *end;
    while (at > begin && (at[-1] == ' ' || at[-1] == '"')) {
        *--at = '\0';
    }
    while (at > begin && at[-1] != ' ' && at[-1] != '"') {
        --at;
    }
    *end = at;
    return at;
}

static void say(unsigned long stream, const void* bytes, size_t count)
{
    unsigned long done = 0;
    WriteFile(GetStdHandle(stream), bytes, (unsigned long)count, &done, NULL);
}

void start(void)
{
    enum { kOutput = -11, kError = -12, kMost = 3000 };
    static KOR_RAWINFO raw[kMost];
    static KOR_INFO info[kMost];
    static char text[500];
    char* const line = GetCommandLineA();
    char* end = line;
    while (*end != '\0') {
        ++end;
    }
    const char* const recording = word_before(&end, line);
    const char* id = word_before(&end, line);
    const char* const directory = word_before(&end, line);
    uint32_t number = 0;
    while (*id >= '0' && *id <= '9') {
        number = 10 * number + (uint32_t)(*id++ - '0');
    }

    kor_prm* prm = NULL;
    kor_engine* engine = NULL;
    kor_reader* reader = NULL;
    size_t count = 0;
    size_t length = 0;
    if (kor_prm_create(&prm) != 0 || kor_engine_create(&engine) != 0 || kor_reader_create(&reader) != 0) {
        ExitProcess(2);
    }
    if (kor_prm_read(prm, directory, number) != 0) {
        kor_prm_read_text(prm, KOR_TEXT_SENTENCE, text, sizeof text, &length);
    } else if (kor_engine_configure(engine, prm, NULL) != 0 ||
               kor_reader_open(reader, recording, KOR_FORMAT_ANY) != 0 ||
               kor_reader_read(reader, raw, kMost, &count) != 0) {
        kor_reader_problem_text(reader, KOR_TEXT_SENTENCE, text, sizeof text, &length);
    } else if (kor_engine_update_many(engine, raw, count, info, NULL, NULL, NULL) == 0) {
        say((unsigned long)kOutput, info, count * sizeof *info);
        kor_reader_destroy(reader);
        kor_engine_destroy(engine);
        kor_prm_destroy(prm);
        ExitProcess(0);
    }
    say((unsigned long)kError, text, length < sizeof text ? length : sizeof text - 1);
    ExitProcess(1);
}
