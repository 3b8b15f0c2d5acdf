#include "params/Messages.h"

namespace kor::params {

namespace {

// Kept: "Tranform", "foun.", "Tilt YCalibration Table", the plural "Scale Factors" and the trailing blank of 622 are
// part of the texts; hosts compare them.
constexpr std::string_view kMessages[] = {
    R"(Block title "Serial Number" is not found.)",                      // 601
    R"(File ID doesn't match KOR ID.)",                                  // 602
    R"(Block title "Device Owner" is not found.)",                       // 603
    R"(Block title "AZ Position Gain" is not found.)",                   // 604
    R"(Block title "EL Position Gain" is not found.)",                   // 605
    R"(Block title "AZ Tracking Gain" is not found.)",                   // 606
    R"(Block title "EL Tracking Gain" is not found.)",                   // 607
    R"(Block title "Digital Damping" is not found.)",                    // 608
    R"(Block title "Angle Offset" is not found.)",                       // 609
    R"(Block title "Transform Vector" is not found.)",                   // 610
    R"(Block title "Local Coordinate Tranform Matrix" is not found.)",   // 611
    R"(Block title "Machine Coordinate Tranform Matrix" is not found.)", // 612
    R"(Block title "Thermal Compensation Factor" is not found.)",        // 613
    R"(Block title "Tilt Sensor Offset" is not found.)",                 // 614
    R"(Block title "ADM Offset" is not foun.)",                          // 615
    R"(Block title "AZ Calibration Table" is not found.)",               // 616
    R"(Block title "EL Calibration Table" is not found.)",               // 617
    R"(Block title "Tilt X Calibration Table" is not found.)",           // 618
    R"(Block title "Tilt YCalibration Table" is not found.)",            // 619
    R"(PRM File Format Error)",                                          // 620
    R"(Block title "Scale Factors" is not found.)",                      // 621
    R"(Block "QVC" is not found )",                                      // 622
    R"(Block "Level1" is not found)",                                    // 623
    R"(Block "Level2" is not found)",                                    // 624
};

static_assert(sizeof(kMessages) / sizeof(kMessages[0]) == kLastMessage - kFirstMessage + 1);

} // namespace

std::string_view messageText(unsigned id) noexcept
{
    return id < kFirstMessage || id > kLastMessage ? std::string_view() : kMessages[id - kFirstMessage];
}

std::string_view messageCaption() noexcept
{
    return "Mek Error Message for KOR";
}

} // namespace kor::params
