// Plain records that hosts share with other tracker components.
//
// The library never looks inside them. They are here so that a host can copy them across the library boundary with
// the library's own memory management. Members without a meaning of their own here carry names for their place.
#ifndef KORINTERFACE_SHAREDRECORDS_H
#define KORINTERFACE_SHAREDRECORDS_H

#include <cstdint>
#include <vector>

#include "KORInterface/Export.h"

/// Parameter record of a hand probe.
/// Notes  1  Copies carry every member. Allocating the entries may throw std::bad_alloc, and std::length_error
///           ("vector too long") when there are more entries than a sequence can hold.
class KORINTERFACE_API CStyloPRM {
public:
    /// One named entry.
    struct KORINTERFACE_API PrmEntry {
        PrmEntry();
        PrmEntry(const PrmEntry& other);
        PrmEntry& operator=(const PrmEntry& other);

        std::int32_t first;
        std::int32_t values[4];
        wchar_t name[16]; ///< at most 15 characters and the terminator; a copy of a text without one is empty
        std::int32_t last[2];
    };

    /// Every number zero, every flag false, no entries.
    CStyloPRM();
    CStyloPRM(const CStyloPRM& other);
    CStyloPRM& operator=(const CStyloPRM& other);
    ~CStyloPRM();

    /// Whether the component that fills the record has read its file.
    bool getPrmFileReadStatus() const;

    std::int32_t leadingWord;
    std::int64_t leadingLong;
    std::int32_t leadingWords[8];
    std::int64_t leadingLongs[8];
    bool readStatus; ///< what getPrmFileReadStatus returns
    std::int32_t statusWords[8];
    std::int64_t statusLongs[8];
    std::vector<PrmEntry> entries;
    std::int32_t entryWords[2];
    double values[16];
    PrmEntry fixedEntries[4];
    std::uint8_t tailBytes[5];
    std::int32_t tailWords[4];
};

/// Seven 8-byte members, the last a double; copied one to one.
class KORINTERFACE_API CBBManager {
public:
    CBBManager();
    CBBManager(const CBBManager& other);
    CBBManager& operator=(const CBBManager& other);

    std::int64_t members[6];
    double value;
};

/// Five 8-byte members, the last a double; copied one to one.
class KORINTERFACE_API CLevel {
public:
    CLevel();
    CLevel(const CLevel& other);
    CLevel& operator=(const CLevel& other);

    std::int64_t members[4];
    double value;
};

/// Three doubles, copied one to one.
class KORINTERFACE_API CPhotoSensor {
public:
    CPhotoSensor();
    CPhotoSensor(const CPhotoSensor& other);
    CPhotoSensor& operator=(const CPhotoSensor& other);

    double values[3];
};

/// Six 8-byte members, copied one to one.
class KORINTERFACE_API JSplineBLandform {
public:
    JSplineBLandform();
    JSplineBLandform(const JSplineBLandform& other);
    JSplineBLandform& operator=(const JSplineBLandform& other);

    std::int64_t members[6];
};

/// State of a distance meter, of which the library looks at the thermal status only.
class KORINTERFACE_API CADMModule {
public:
    CADMModule();

    /// The thermal status as it stands.
    int getThermalStatus() const;

    int thermalStatus;
};

#endif
