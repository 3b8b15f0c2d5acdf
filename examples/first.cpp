// The first orientation: two samples of sensor 1005, from its parameter file to angles and matrix.
//     first [DIRECTORY]    the directory of Tg1005.prm, data/polarizer if it is left out
#include <KORInterface/KORInterface.h>

#include <cstdint>
#include <cstdio>

// What the driver of a sensor does: it fills one record for each sample.
KOR_RAWINFO readSensor(int number)
{
    static const float kReadings[2][8] = {
        {3854.4463F, 1803.9299F, 813.47455F, 34.603523F, -0.76593477F, 2135.525F, 15607.671F, 22.118876F},
        {3857.1433F, 1805.4836F, 816.00574F, 34.481346F, -0.77292097F, 2080.2307F, 15676.615F, 22.117657F}};
    const float* reading = kReadings[number];

    KOR_RAWINFO raw = KOR_RAWINFO();  // zeros, so that no field is left open
    raw.status = 2;                   // the sensor calls this sample valid
    raw.sensorVector[0] = reading[0]; // target point in the tracker frame, mm
    raw.sensorVector[1] = reading[1];
    raw.sensorVector[2] = reading[2];
    raw.azimuthRaw = reading[3]; // encoders, degrees
    raw.elevationRaw = reading[4];
    raw.levelXRaw = reading[5]; // levels, in the units of their tables
    raw.levelYRaw = reading[6];
    raw.levelTemperature = reading[7];
    raw.referenceGate = 0.05F; // at most 0.4, and
    raw.referenceHold = 0;     // zero: this sample may become the reference
    raw.timeStampMs = static_cast<std::uint32_t>(1000 + 10 * number);
    return raw;
}

int main(int argc, char** argv)
{
    // Step 1: read the parameter file, with a report.
    const char* directory = argc > 1 ? argv[1] : "data/polarizer";
    CKorPrm parameters;
    kor::ReadReport report;
    if (kor::ReadParameterFile(parameters, directory, 1005, report) != kor::kSuccess) {
        std::fprintf(stderr, "%s\n", report.text());
        return 1;
    }
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        std::fprintf(stderr, "warning: %s\n", report.finding(i).text);
    }

    // Step 2: configure an engine; the mount mode comes from the file.
    CKor engine;
    kor::ConfigureOptions options;
    options.mcsFlag(true); // machine coordinates
    const int code = kor::Configure(engine, parameters, options);
    if (code != kor::kSuccess) {
        std::fprintf(stderr, "the engine cannot be configured: %s\n", kor::StatusText(code));
        return 1;
    }

    for (int number = 0; number < 2; ++number) {
        // Step 3: feed a sample.
        const KOR_RAWINFO raw = readSensor(number);
        kor::SampleResult sample;
        kor::ProcessSample(engine, raw, sample);

        // Step 4: look at the outcome before anything else.
        std::printf("sample %d, %s: %s\n", number + 1, kor::ModelText(sample.report.model),
                    kor::OutcomeText(sample.report.outcome));
        if (sample.report.outcome != kor::SampleOutcome::valid) {
            continue;
        }

        // Step 5: angles and matrix.
        const float* angles = sample.info.orientationAngles; // about x, z and y
        std::printf("angles: x %.4f, z %.4f, y %.4f degrees\n", static_cast<double>(angles[0]),
                    static_cast<double>(angles[1]), static_cast<double>(angles[2]));
        for (int row = 0; row < 3; ++row) {
            const double* m = &sample.matrix[3 * row];
            std::printf("matrix: %9.6f %9.6f %9.6f\n", m[0], m[1], m[2]);
        }
    }
    return 0;
}
