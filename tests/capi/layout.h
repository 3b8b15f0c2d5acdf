/* Sizes and offsets of what crosses the C interface: the same for every compiler of 64-bit systems. */
#ifndef KOR_TESTS_CAPI_LAYOUT_H
#define KOR_TESTS_CAPI_LAYOUT_H

#include <KORInterface/kor.h>

#ifdef __cplusplus
#define KOR_HOLDS(what) static_assert(what, #what)
#else
#define KOR_HOLDS(what) _Static_assert(what, #what)
#endif
#define KOR_SIZE(type, bytes) KOR_HOLDS(sizeof(type) == (bytes))
#define KOR_AT(type, field, bytes) KOR_HOLDS(offsetof(type, field) == (bytes))

KOR_SIZE(void*, 8);
KOR_SIZE(size_t, 8);
KOR_SIZE(enum kor_status, 4);
KOR_SIZE(enum kor_mode, 4);

KOR_HOLDS(KOR_SUCCESS == 0 && KOR_BAD_ARGUMENT == 20 && KOR_CANNOT_OPEN == 550 && KOR_NOT_LOADED == 551);
KOR_HOLDS(KOR_FORMAT_ERROR == 553 && KOR_NO_MATRIX == 554);
KOR_HOLDS(KOR_OUTCOME_NEVER_FED == 0 && KOR_OUTCOME_NO_MODEL == 1 && KOR_OUTCOME_REJECTED_BY_STATUS == 2);
KOR_HOLDS(KOR_OUTCOME_NO_MATRIX == 3 && KOR_OUTCOME_NOT_FINITE == 4 && KOR_OUTCOME_BEFORE_REFERENCE == 5);
KOR_HOLDS(KOR_OUTCOME_VALID == 6 && KOR_OUTCOME_SPOILED == 7);
KOR_HOLDS(KOR_REASON_BOTH_LEVELS_EXCLUDED == 1 && KOR_REASON_FILTERS_FILLING == 2 && KOR_REASON_MODEL_REFUSED == 3);
KOR_HOLDS(KOR_MODEL_DUAL_LEVEL == 1 && KOR_MODEL_PENDULUM == 2 && KOR_MODEL_POLARIZER == 3);
KOR_HOLDS(KOR_MODEL_THREE_VECTORS == 4 && KOR_MODEL_TWO_LEVELS == 5);
KOR_HOLDS(KOR_SPOILED_BY_PROCESS_VALUES == 1 && KOR_SPOILED_BY_REFERENCE == 2);
KOR_HOLDS(KOR_TEXT_SENTENCE == 0 && KOR_TEXT_FILE == 1 && KOR_TEXT_BLOCK == 2 && KOR_TEXT_FIELD == 3);
KOR_HOLDS(KOR_TEXT_FOUND == 4 && KOR_TEXT_EXPECTED == 5 && KOR_TEXT_REASON == 6 && KOR_TEXT_ADVICE == 7);
KOR_HOLDS(KOR_TEXT_RULE == 8 && KOR_FORMAT_ANY == 0 && KOR_FORMAT_CSV == 1 && KOR_FORMAT_BINARY == 2);
KOR_HOLDS(KOR_FINDING_SHORT_TABLE == 1 && KOR_SEVERITY_WARNING == 1 && KOR_SEVERITY_ERROR == 2);
KOR_HOLDS(KOR_MODE_OF_FILE == INT32_MIN);

KOR_SIZE(D_VECTOR2, 16);
KOR_AT(D_VECTOR2, x, 0);
KOR_AT(D_VECTOR2, y, 8);
KOR_SIZE(D_VECTOR3, 24);
KOR_AT(D_VECTOR3, x, 0);
KOR_AT(D_VECTOR3, y, 8);
KOR_AT(D_VECTOR3, z, 16);
KOR_SIZE(F_VECTOR2, 8);
KOR_AT(F_VECTOR2, x, 0);
KOR_AT(F_VECTOR2, y, 4);
KOR_SIZE(F_VECTOR4, 16);
KOR_AT(F_VECTOR4, x, 0);
KOR_AT(F_VECTOR4, y, 4);
KOR_AT(F_VECTOR4, z, 8);
KOR_AT(F_VECTOR4, w, 12);

KOR_SIZE(KOR_RAWINFO, 68);
KOR_AT(KOR_RAWINFO, reserved0, 0);
KOR_AT(KOR_RAWINFO, status, 4);
KOR_AT(KOR_RAWINFO, sensorVector, 8);
KOR_AT(KOR_RAWINFO, azimuthRaw, 20);
KOR_AT(KOR_RAWINFO, elevationRaw, 24);
KOR_AT(KOR_RAWINFO, levelXRaw, 28);
KOR_AT(KOR_RAWINFO, levelYRaw, 32);
KOR_AT(KOR_RAWINFO, levelTemperature, 36);
KOR_AT(KOR_RAWINFO, referenceGate, 40);
KOR_AT(KOR_RAWINFO, reserved44, 44);
KOR_AT(KOR_RAWINFO, referenceHold, 48);
KOR_AT(KOR_RAWINFO, reserved49, 49);
KOR_AT(KOR_RAWINFO, temperatureCount, 52);
KOR_AT(KOR_RAWINFO, timeStampMs, 64);

KOR_SIZE(KOR_INFO, 60);
KOR_AT(KOR_INFO, reserved0, 0);
KOR_AT(KOR_INFO, azimuth, 4);
KOR_AT(KOR_INFO, elevation, 8);
KOR_AT(KOR_INFO, levelX, 12);
KOR_AT(KOR_INFO, levelY, 16);
KOR_AT(KOR_INFO, orientationAngles, 20);
KOR_AT(KOR_INFO, reserved32, 32);
KOR_AT(KOR_INFO, sensorOut, 36);
KOR_AT(KOR_INFO, temperature, 48);

KOR_SIZE(kor_read_report, 32);
KOR_AT(kor_read_report, size, 0);
KOR_AT(kor_read_report, status, 4);
KOR_AT(kor_read_report, message, 8);
KOR_AT(kor_read_report, line, 12);
KOR_AT(kor_read_report, out_of_memory, 16);
KOR_AT(kor_read_report, findings, 20);
KOR_AT(kor_read_report, all_findings, 24);

KOR_SIZE(kor_read_finding, 40);
KOR_AT(kor_read_finding, size, 0);
KOR_AT(kor_read_finding, kind, 4);
KOR_AT(kor_read_finding, line, 8);
KOR_AT(kor_read_finding, reserved, 12);
KOR_AT(kor_read_finding, values, 16);
KOR_AT(kor_read_finding, rows, 24);
KOR_AT(kor_read_finding, count, 32);

KOR_SIZE(kor_check_report, 32);
KOR_AT(kor_check_report, size, 0);
KOR_AT(kor_check_report, status, 4);
KOR_AT(kor_check_report, message, 8);
KOR_AT(kor_check_report, out_of_memory, 12);
KOR_AT(kor_check_report, findings, 16);
KOR_AT(kor_check_report, errors, 20);
KOR_AT(kor_check_report, warnings, 24);
KOR_AT(kor_check_report, notes, 28);

KOR_SIZE(kor_check_finding, 24);
KOR_AT(kor_check_finding, size, 0);
KOR_AT(kor_check_finding, severity, 4);
KOR_AT(kor_check_finding, line, 8);
KOR_AT(kor_check_finding, reserved, 12);
KOR_AT(kor_check_finding, more, 16);

KOR_SIZE(kor_configure_options, 40);
KOR_AT(kor_configure_options, size, 0);
KOR_AT(kor_configure_options, has_mount_mode, 4);
KOR_AT(kor_configure_options, mount_mode, 8);
KOR_AT(kor_configure_options, has_mcs_flag, 12);
KOR_AT(kor_configure_options, mcs_flag, 16);
KOR_AT(kor_configure_options, parameter_store, 20);
KOR_AT(kor_configure_options, has_detector, 24);
KOR_AT(kor_configure_options, detector, 28);

KOR_SIZE(kor_sample_report, 40);
KOR_AT(kor_sample_report, size, 0);
KOR_AT(kor_sample_report, outcome, 4);
KOR_AT(kor_sample_report, reason, 8);
KOR_AT(kor_sample_report, model, 12);
KOR_AT(kor_sample_report, captured_reference, 16);
KOR_AT(kor_sample_report, level_x_outside, 20);
KOR_AT(kor_sample_report, level_y_outside, 24);
KOR_AT(kor_sample_report, spoiled_by, 28);
KOR_AT(kor_sample_report, spoiled_since, 32);

KOR_SIZE(kor_problem, 40);
KOR_AT(kor_problem, size, 0);
KOR_AT(kor_problem, status, 4);
KOR_AT(kor_problem, line, 8);
KOR_AT(kor_problem, record, 16);
KOR_AT(kor_problem, byte, 24);
KOR_AT(kor_problem, goes_on, 32);
KOR_AT(kor_problem, out_of_memory, 36);

#endif
