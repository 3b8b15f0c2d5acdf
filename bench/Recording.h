// A sensor's parameter file and a recording of it, as every bench takes them.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KORInterface/Records.h"

namespace kor_bench {

/// The samples of a binary recording; none when it cannot be read.
inline std::vector<KOR_RAWINFO> readRecording(const std::string& path)
{
    struct Closed {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::vector<KOR_RAWINFO> samples;
    const std::unique_ptr<std::FILE, Closed> in(std::fopen(path.c_str(), "rb"));
    for (KOR_RAWINFO sample; in && std::fread(&sample, sizeof sample, 1, in.get()) == 1;) {
        samples.push_back(sample);
    }
    return samples;
}

} // namespace kor_bench
