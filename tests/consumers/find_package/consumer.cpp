// A host outside the project: one polarizer sample whose orientation is known.
#include <KORInterface/KORInterface.h>

#include <cmath>
#include <cstdio>

int main()
{
    CKor engine;
    const float factors[8] = {0, 0, 0, 0, 1, 1, 1, 0};
    const F_VECTOR2 none = {0, 0};
    const F_VECTOR4 unity = {0, 1, 0, 1};
    engine.setScaleFactors(factors, 8);
    engine.setEncoderOffset(none);
    engine.setTiltOffset(none);
    engine.setThermalFactor(unity);
    double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    engine.setMachineMatrix(identity, 3);
    engine.setMountMode(5);

    // Straight ahead along y, turned by 30 degrees about the azimuth axis.
    KOR_RAWINFO raw = KOR_RAWINFO();
    raw.status = 2;
    raw.sensorVector[1] = 2000;
    raw.azimuthRaw = 30;
    KOR_INFO info;
    double m[9];
    engine.updateKORData(raw, info); // becomes the reference
    engine.updateKORData(raw, info);
    const int code = engine.ReadMatrix(m);
    const double turn = 30 * 0.01745329251994;
    const double wanted[9] = {std::cos(turn), std::sin(turn), 0, -std::sin(turn), std::cos(turn), 0, 0, 0, 1};
    double worst = 0;
    for (int i = 0; i < 9; ++i) {
        worst = std::fmax(worst, std::fabs(m[i] - wanted[i]));
    }
    std::printf("code %d, worst element error %g, angle about z %g\n", code, worst, info.orientationAngles[1]);
    CKorPrm prm;
    unsigned int count = 0;
    const bool unloaded = prm.getAzimuthComp(count, nullptr) == 551;
    return code == 0 && worst < 1e-15 && std::fabs(info.orientationAngles[1] + 30) < 1e-5 && unloaded ? 0 : 1;
}
