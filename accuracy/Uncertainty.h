// The uncertainty of the orientation that follows from the uncertainties of its inputs: by the law of propagation and
// by Monte Carlo through the whole model with its filters.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "accuracy/Inputs.h"

namespace kor::accuracy {

/// The standard uncertainties of one input, 0 or more, both in the same unit.
struct InputUncertainty {
    std::string input;
    double noise = 0.0;    ///< of each sample, independent of all others
    double constant = 0.0; ///< of what is off in the same way in all samples
    std::string unit;
};

/// An input of at least one mount mode, and the units in which its uncertainty may be given.
struct KnownInput {
    std::string name;
    bool parameter = false; ///< the same in all samples: it has no noise
    std::vector<std::string> units;
};
std::vector<KnownInput> knownInputs();

/// Of a turn of the base, arc-seconds: about the tracker's x, y and z, and the root of the sum of their squares, which
/// is the angle of the turn.
struct TurnUncertainty {
    Vec3 axes{};
    double angle = 0.0;
};

/// What Monte Carlo has found.
struct Trials {
    std::uint64_t count = 0;
    std::uint64_t without = 0; ///< without a matrix; they are in no other figure
    TurnUncertainty standard;
    TurnUncertainty own;          ///< the standard uncertainties of `standard`, for there are only so many trials
    Vec3 mean{};                  ///< turn, arc-seconds: what no standard uncertainty tells
    double withinExpanded = 0.0;  ///< share of the trials whose turn is within the expanded uncertainty of the angle
    double ninetyFivePercent = 0; ///< of the trials turn by this angle or less, arc-seconds
    std::uint64_t far = 0;        ///< trials that turn by more than kFar times that angle
    double farthest = 0.0;        ///< turn of all trials, arc-seconds
};

/// Why Monte Carlo and the law give different figures for an input.
enum class Discrepancy : std::uint8_t {
    none,       ///< they agree
    filters,    ///< held the same in all samples they agree: the model's filters make the difference
    search,     ///< the model's search stops too early to follow so small a change
    jumps,      ///< a few trials turn much farther than the others
    notLinear,  ///< the orientation does not follow the input in proportion
    withoutTurn ///< no trial has a matrix
};

/// What one input contributes, through its noise or its constant part.
struct Contribution {
    std::string group;
    std::string input;
    bool noise = false;
    double stated = 0.0; ///< standard uncertainty as it was given
    std::string unit;
    TurnUncertainty law{};
    double lawShare = 0.0; ///< of the variance
    Trials alone{};        ///< this input alone
    double aloneShare = 0.0;
    std::optional<Trials> held{}; ///< of noise on which both differ: the same, but the same in all samples
    Discrepancy why = Discrepancy::none;
};

enum class Believe : std::uint8_t { either, monteCarlo, law, neither };

struct Uncertainty {
    int mode = 0;
    Pose pose;
    double off = 0.0; ///< degrees between the pose and the model's result, about which all of this is
    TurnUncertainty law;
    Trials trials;
    std::vector<Contribution> contributions;
    std::vector<std::string> notInputs; ///< names that have an uncertainty but are not inputs of this mode
    Believe believe = Believe::either;
    std::optional<std::size_t> cause; ///< the contribution that the two differ most about, if one does
};

/// Coverage factor of the expanded uncertainties.
constexpr double kCoverage = 2.0;

/// Both figures agree if they are no further apart than this share of the larger one, or than so many standard
/// uncertainties of the Monte Carlo. That goes for the angle and for each axis, but that an axis may be off by a small
/// share of the angle. They do not agree where some trials turn far.
constexpr double kAgreement = 0.05;
constexpr double kDoubt = 4.0;
constexpr double kSmallAxis = 0.01;

/// Normal deviates do not come so many times as far as 95 % of them do.
constexpr double kFar = 5.0;

struct MonteCarloPlan {
    std::uint64_t trials = 0; ///< of all inputs together
    std::uint64_t seed = 1;

    std::uint64_t alone() const; ///< of each input alone
};

/// The uncertainty of the orientation at a pose. Nothing if the sensor cannot look at the tracker there.
/// Given     advance  is told after each trial
/// Notes  1  All inputs count as independent, and in Monte Carlo as normally distributed.
///        2  The law: the sum over all inputs of the squares of sensitivity times standard uncertainty (JCGM 100:2008,
///           5.1.2, for the three components of the turn as JCGM 102:2011, 6.2, has it).
///        3  Monte Carlo (JCGM 101:2008, 7): the whole way from raw readings to the matrix with as many samples as the
///           model's filters need, noise drawn for each of them anew. What each input contributes is found with all
///           others at their values (annex B).
///        4  The same plan and inputs give the same numbers. What an input contributes is the same whichever others are
///           stated.
std::optional<Uncertainty> uncertaintyOf(const SensorParameters& sensor, const Pose& pose,
                                         const std::vector<InputUncertainty>& inputs, const MonteCarloPlan& plan,
                                         const std::function<void()>& advance);

} // namespace kor::accuracy
