// Orientations of a recording: host DIRECTORY ID RECORDING.korraw
#include <KORInterface/KORInterface.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 4) {
        return std::puts("usage: host DIRECTORY ID RECORDING.korraw"), 2;
    }
    const std::string directory = argv[1]; // ASCII here; the library takes wide characters
    CKorPrm prm;
    CKor engine;
    int code = prm.ReadCalibrationFile(std::wstring(directory.begin(), directory.end()).c_str(), std::atol(argv[2]));
    if (code != 0 || (code = kor::ConfigureEngine(engine, prm)) != 0) {
        return std::printf("no usable parameter file: code %d\n", code), 1;
    }
    std::ifstream recording(argv[3], std::ios::binary);
    KOR_RAWINFO raw;
    KOR_INFO info;
    double m[9]; // the orientation matrix, row by row
    while (recording.read(reinterpret_cast<char*>(&raw), sizeof raw)) {
        engine.updateKORData(raw, info);
        const float* angle = info.orientationAngles;
        if (engine.ReadMatrix(m) == 0) {
            std::printf("%u ms: x %.4f, z %.4f, y %.4f deg\n", raw.timeStampMs, angle[0], angle[1], angle[2]);
        }
    }
}
