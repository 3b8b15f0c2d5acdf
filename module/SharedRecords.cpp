#include "KORInterface/SharedRecords.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>

#include "module/BoundedText.h"

namespace {

template <typename Value, std::size_t N>
void copyArray(Value (&to)[N], const Value (&from)[N])
{
    std::copy(std::begin(from), std::end(from), std::begin(to));
}

} // namespace

CStyloPRM::PrmEntry::PrmEntry() : first(0), values{}, name{}, last{} {}

CStyloPRM::PrmEntry::PrmEntry(const PrmEntry& other) : PrmEntry()
{
    *this = other;
}

CStyloPRM::PrmEntry& CStyloPRM::PrmEntry::operator=(const PrmEntry& other)
{
    if (this != &other) {
        first = other.first;
        copyArray(values, other.values);
        kor::copyText(name, other.name);
        copyArray(last, other.last);
    }
    return *this;
}

CStyloPRM::CStyloPRM()
    : leadingWord(0), leadingLong(0), leadingWords{}, leadingLongs{},
      readStatus(false), statusWords{}, statusLongs{}, entryWords{}, values{}, fixedEntries{}, tailBytes{}, tailWords{}
{
}

CStyloPRM::CStyloPRM(const CStyloPRM& other) : CStyloPRM()
{
    *this = other;
}

// The entries come first: when there is no memory for them, the record stays as it was.
CStyloPRM& CStyloPRM::operator=(const CStyloPRM& other)
{
    if (this == &other) {
        return *this;
    }
    std::vector<PrmEntry> copied;
    if (other.entries.size() > copied.max_size()) {
        throw std::length_error("vector too long");
    }
    copied.reserve(other.entries.size());
    copied.assign(other.entries.begin(), other.entries.end());

    leadingWord = other.leadingWord;
    leadingLong = other.leadingLong;
    copyArray(leadingWords, other.leadingWords);
    copyArray(leadingLongs, other.leadingLongs);
    readStatus = other.readStatus;
    copyArray(statusWords, other.statusWords);
    copyArray(statusLongs, other.statusLongs);
    entries.swap(copied);
    copyArray(entryWords, other.entryWords);
    copyArray(values, other.values);
    copyArray(fixedEntries, other.fixedEntries);
    copyArray(tailBytes, other.tailBytes);
    copyArray(tailWords, other.tailWords);
    return *this;
}

CStyloPRM::~CStyloPRM() = default;

bool CStyloPRM::getPrmFileReadStatus() const
{
    return readStatus;
}

CBBManager::CBBManager() : members{}, value(0.0) {}
CBBManager::CBBManager(const CBBManager& other) = default;
CBBManager& CBBManager::operator=(const CBBManager& other) = default;

CLevel::CLevel() : members{}, value(0.0) {}
CLevel::CLevel(const CLevel& other) = default;
CLevel& CLevel::operator=(const CLevel& other) = default;

CPhotoSensor::CPhotoSensor() : values{} {}
CPhotoSensor::CPhotoSensor(const CPhotoSensor& other) = default;
CPhotoSensor& CPhotoSensor::operator=(const CPhotoSensor& other) = default;

JSplineBLandform::JSplineBLandform() : members{} {}
JSplineBLandform::JSplineBLandform(const JSplineBLandform& other) = default;
JSplineBLandform& JSplineBLandform::operator=(const JSplineBLandform& other) = default;

CADMModule::CADMModule() : thermalStatus(0) {}

int CADMModule::getThermalStatus() const
{
    return thermalStatus;
}
