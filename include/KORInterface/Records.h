// Records that cross the library boundary: one raw sample, one result, and the small vectors. For C and C++ alike.
#ifndef KORINTERFACE_RECORDS_H
#define KORINTERFACE_RECORDS_H

#include <stddef.h> // NOLINT(modernize-deprecated-headers): C has no other
#include <stdint.h> // NOLINT(modernize-deprecated-headers)
#ifdef __cplusplus
#include <cstddef>
#include <cstdint>
#endif

/// Two doubles.
struct D_VECTOR2 {
    double x;
    double y;
};

/// Three doubles.
struct D_VECTOR3 {
    double x;
    double y;
    double z;
};

/// Two floats.
struct F_VECTOR2 {
    float x;
    float y;
};

/// Four floats.
struct F_VECTOR4 {
    float x;
    float y;
    float z;
    float w;
};

/// One raw sample as the sensor delivers it; the engine only reads it.
/// Layout    68 bytes, 4-byte fields without gaps but for the three bytes after referenceHold; little-endian
///           on every supported platform, so an array of these is also the binary recording format.
/// Notes  1  Only a sample whose status is 2 yields an orientation.
///        2  In mount modes 5 and 6 levelXRaw is the numerator and levelYRaw the denominator of the level X ratio.
struct KOR_RAWINFO {
    int32_t reserved0;           ///< not read by the engine
    int32_t status;              ///< 2: valid sample; anything else: rejected
    float sensorVector[3];       ///< position of the sensor's target point, tracker frame, mm
    float azimuthRaw;            ///< azimuth encoder reading, degrees
    float elevationRaw;          ///< elevation encoder reading, degrees
    float levelXRaw;             ///< level X reading, in the units of its compensation table (note 2)
    float levelYRaw;             ///< level Y reading, in the units of its compensation table (note 2)
    float levelTemperature;      ///< factor of both level thermal corrections
    float referenceGate;         ///< the reference orientation is captured only when this is at most 0.4
    int32_t reserved44;          ///< not read
    uint8_t referenceHold;       ///< non-zero blocks the capture of the reference orientation
    uint8_t reserved49[3];       ///< padding, not read
    int32_t temperatureCount[3]; ///< temperature sensor counts, 24-bit two's complement in 32 bits
    uint32_t timeStampMs;        ///< sample time, ms, free-running, wraps modulo 2^32
};

/// One result. The engine sets every byte to zero before anything else on each call.
/// Layout    60 bytes, fifteen 4-byte words.
/// Notes  1  orientationAngles are about x, z and y in this order; zero until a reference is captured. They make up the
///           matrix of CKor::ReadMatrix: Rx([0]) Ry([2]) Rz([1]) in machine coordinates and in mount modes 7 and above,
///           Rz([1]) Ry([2]) Rx([0]) in local coordinates. Only local coordinates are relative to the reference.
///        2  sensorOut echoes sensorVector in mount modes below 7 and holds the first three QVC values of the
///           model in modes 7 and above.
struct KOR_INFO {
    int32_t reserved0;          ///< always 0
    float azimuth;              ///< calibrated azimuth, degrees
    float elevation;            ///< calibrated elevation, degrees
    float levelX;               ///< corrected level X, degrees; mount modes 9 and 10: the model's filtered value
    float levelY;               ///< corrected level Y, degrees; the same
    float orientationAngles[3]; ///< orientation angles, degrees (note 1)
    int32_t reserved32;         ///< always 0
    float sensorOut[3];         ///< tracker frame, mm (note 2)
    float temperature[3];       ///< temperature counts / 41920
};

#ifdef __cplusplus
static_assert(sizeof(KOR_RAWINFO) == 68, "the raw record is 68 bytes on every platform");
static_assert(sizeof(KOR_INFO) == 60, "the result record is 60 bytes on every platform");
static_assert(offsetof(KOR_RAWINFO, temperatureCount) == 52 && offsetof(KOR_RAWINFO, timeStampMs) == 64,
              "the raw record has no gap but the padding after referenceHold");
static_assert(offsetof(KOR_INFO, orientationAngles) == 20 && offsetof(KOR_INFO, sensorOut) == 36 &&
                  offsetof(KOR_INFO, temperature) == 48,
              "the result record has no gaps");
#else
/// C has the names of structures apart from those of types.
typedef struct D_VECTOR2 D_VECTOR2;
typedef struct D_VECTOR3 D_VECTOR3;
typedef struct F_VECTOR2 F_VECTOR2;
typedef struct F_VECTOR4 F_VECTOR4;
typedef struct KOR_RAWINFO KOR_RAWINFO;
typedef struct KOR_INFO KOR_INFO;
#endif

#endif
