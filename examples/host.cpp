// Reads a sensor's parameter file and turns samples into orientations.
#include <KORInterface/KORInterface.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: host DIRECTORY ID RECORDING.korraw\n");
        return 2;
    }
    const std::string directory = argv[1]; // plain ASCII here; wide characters are UTF-8 on disk

    CKorPrm prm;
    CKor engine;
    int code = prm.ReadCalibrationFile(std::wstring(directory.begin(), directory.end()).c_str(),
                                       std::strtoul(argv[2], nullptr, 10));
    if (code == 0) {
        code = kor::ConfigureEngine(engine, prm);
    }
    if (code != 0) {
        std::fprintf(stderr, "cannot configure the engine: code %d\n", code);
        return 1;
    }

    std::ifstream recording(argv[3], std::ios::binary);
    KOR_RAWINFO raw;
    KOR_INFO info;
    double m[9];
    while (recording.read(reinterpret_cast<char*>(&raw), sizeof raw)) {
        engine.updateKORData(raw, info);
        if (engine.ReadMatrix(m) == 0) {
            std::printf("%lu: %.6f %.6f %.6f\n", static_cast<unsigned long>(raw.timeStampMs),
                        info.orientationAngles[0], info.orientationAngles[1], info.orientationAngles[2]);
        }
    }
    return 0;
}
