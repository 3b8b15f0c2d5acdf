// The support routines and the reader of parameter files against the libraries that a user would take instead: first
// the same answers, then the times. Prints JSON; bench.py makes the table of it.
//
// Usage: rivals_bench mek ROUNDS
//        rivals_bench files ROUNDS DIRECTORY ID [DIRECTORY ID]...
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <boost/math/interpolators/cardinal_cubic_b_spline.hpp>
#include <gsl/gsl_fit.h>
#include <gsl/gsl_spline.h>

#include "KORInterface/CKorPrm.h"
#include "bench/PlainReader.h"
#include "bench/Timing.h"
#include "mek/Polyfit.h"
#include "mek/Spline.h"
#include "mek/Values.h"

namespace {

using namespace kor_bench;

[[noreturn]] void fail(const std::string& text)
{
    std::fprintf(stderr, "rivals_bench: %s\n", text.c_str());
    std::exit(1);
}

class Random {
public:
    double between(double low, double high)
    {
        m_state ^= m_state << 13U;
        m_state ^= m_state >> 7U;
        m_state ^= m_state << 17U;
        return low + (high - low) * static_cast<double>(m_state >> 11U) * 0x1p-53;
    }

private:
    std::uint64_t m_state = 88172645463325252ULL;
};

// A routine of ours and its rivals. Each writes its answers, all of them, into the array that it is given.
struct Contest {
    using Side = std::function<void(double*)>;

    std::string name;
    std::size_t calls;   // of one run of a side
    std::size_t answers; // that it writes
    double tolerance;    // of an answer, against 1 or its size
    Side ours;
    std::vector<std::pair<std::string, Side>> rivals;
};

void run(const Contest& contest, int rounds)
{
    std::vector<double> wanted(contest.answers);
    contest.ours(wanted.data());
    std::vector<std::function<void()>> sides;
    std::vector<double> room(contest.answers);
    double worst = 0.0;
    for (const auto& [name, side] : contest.rivals) {
        std::vector<double> got(contest.answers, std::nan(""));
        side(got.data());
        for (std::size_t i = 0; i < contest.answers; ++i) {
            const double difference = std::fabs(got[i] - wanted[i]) / std::max(1.0, std::fabs(wanted[i]));
            if (!(difference <= contest.tolerance)) {
                fail(contest.name + ": " + name + " gives another answer");
            }
            worst = std::max(worst, difference);
        }
    }
    // Some ten thousand calls a turn.
    const std::size_t repetitions = std::max<std::size_t>(1, 10000 / contest.calls);
    const auto repeated = [&room, repetitions](const Contest::Side& side) {
        return [&room, &side, repetitions] {
            for (std::size_t i = 0; i < repetitions; ++i) {
                side(room.data());
                keep(room[0]);
            }
        };
    };
    sides.emplace_back(repeated(contest.ours));
    for (const auto& rival : contest.rivals) {
        sides.emplace_back(repeated(rival.second));
    }
    const std::vector<Spent> spent = timeByTurns(sides, contest.calls * repetitions, rounds);
    std::printf("{\"name\": \"%s\", \"difference\": %.2g, %s, \"rivals\": {", contest.name.c_str(), worst,
                jsonOf("ours", spent[0]).c_str());
    for (std::size_t i = 0; i < contest.rivals.size(); ++i) {
        std::printf("%s%s", i == 0 ? "" : ", ", jsonOf(contest.rivals[i].first, spent[i + 1]).c_str());
    }
    std::printf("}}\n");
}

constexpr std::size_t kInputs = 256;
constexpr auto kRadiansPerDegree = static_cast<double>(EIGEN_PI / 180);

using Row3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

// Rotations with some scale and shear: what is inverted in practice, and far from singular.
std::vector<mek::Mat3> matrices(Random& random)
{
    std::vector<mek::Mat3> out(kInputs);
    for (mek::Mat3& matrix : out) {
        Eigen::Map<Row3> map(matrix.m);
        map = Eigen::AngleAxisd(random.between(-3, 3), Eigen::Vector3d::Random().normalized()).toRotationMatrix();
        for (double& element : matrix.m) {
            element += random.between(-0.1, 0.1);
        }
    }
    return out;
}

void matrixRoutines(Random& random, int rounds)
{
    const std::vector<mek::Mat3> a = matrices(random);
    const std::vector<mek::Mat3> b = matrices(random);
    // Elements of an inverse of condition below 10, some rounding errors in each.
    run({"3 x 3 inverse",
         kInputs,
         9 * kInputs,
         1e-13,
         [&a](double* out) {
             for (std::size_t i = 0; i < kInputs; ++i) {
                 mek::Mat3 matrix = a[i];
                 mek::invert(matrix);
                 mek::store(matrix, out + 9 * i);
             }
         },
         {{"Eigen",
           [&a](double* out) {
               for (std::size_t i = 0; i < kInputs; ++i) {
                   Eigen::Map<Row3>(out + 9 * i) = Eigen::Map<const Row3>(a[i].m).inverse();
               }
           }},
          {"Eigen, with pivots",
           [&a](double* out) {
               for (std::size_t i = 0; i < kInputs; ++i) {
                   Eigen::Map<Row3>(out + 9 * i) = Eigen::PartialPivLU<Row3>(Eigen::Map<const Row3>(a[i].m)).inverse();
               }
           }}}},
        rounds);
    run({"3 x 3 product",
         kInputs,
         9 * kInputs,
         1e-15,
         [&a, &b](double* out) {
             for (std::size_t i = 0; i < kInputs; ++i) {
                 mek::store(a[i] * b[i], out + 9 * i);
             }
         },
         {{"Eigen",
           [&a, &b](double* out) {
               for (std::size_t i = 0; i < kInputs; ++i) {
                   Eigen::Map<Row3>(out + 9 * i).noalias() =
                       Eigen::Map<const Row3>(a[i].m) * Eigen::Map<const Row3>(b[i].m);
               }
           }}}},
        rounds);
}

void rotation(Random& random, int rounds)
{
    struct Turn {
        Eigen::Vector3d axis;
        Eigen::Vector3d v;
        double angle;
    };
    std::vector<Turn> turns;
    for (std::size_t i = 0; i < kInputs; ++i) {
        turns.push_back({Eigen::Vector3d::Random().normalized(), Eigen::Vector3d::Random(), random.between(-180, 180)});
    }
    // The literal of degrees has 12 digits.
    run({"rotation about an axis",
         kInputs,
         3 * kInputs,
         1e-11,
         [&turns](double* out) {
             for (const Turn& turn : turns) {
                 mek::store(
                     mek::rotateAboutAxis(mek::loadVec3(turn.axis.data()), turn.angle, mek::loadVec3(turn.v.data())),
                     out);
                 out += 3;
             }
         },
         {{"Eigen",
           [&turns](double* out) {
               for (const Turn& turn : turns) {
                   Eigen::Map<Eigen::Vector3d>(out).noalias() =
                       Eigen::AngleAxisd(turn.angle * kRadiansPerDegree, turn.axis) * turn.v;
                   out += 3;
               }
           }}}},
        rounds);
}

// A table like that of a level, evenly spaced, which Boost's spline demands.
struct Table {
    static constexpr std::size_t kPoints = 41;
    std::vector<float> x;
    std::vector<float> y;
    std::vector<double> wideX;
    std::vector<double> wideY;
    std::vector<double> coefficients;
    double endSlopes[2];

    explicit Table(Random& random) : coefficients(4 * kPoints), endSlopes{}
    {
        for (std::size_t i = 0; i < kPoints; ++i) {
            x.push_back(static_cast<float>(i) * 1.5F - 30.0F);
            y.push_back(x.back() + static_cast<float>(random.between(-0.05, 0.05)));
            wideX.push_back(static_cast<double>(x.back()));
            wideY.push_back(static_cast<double>(y.back()));
        }
        mek::CubicSplines(x.data(), y.data(), kPoints - 1, coefficients.data());
        const double* const last = &coefficients[4 * (kPoints - 2)];
        const double h = 1.5;
        endSlopes[0] = coefficients[1];
        endSlopes[1] = last[1] + h * (2.0 * last[2] + h * 3.0 * last[3]);
    }
};

void splines(Random& random, int rounds)
{
    constexpr std::size_t kPoints = Table::kPoints;
    const Table table(random);
    const std::unique_ptr<gsl_interp, decltype(&gsl_interp_free)> gsl(gsl_interp_alloc(gsl_interp_cspline, kPoints),
                                                                      &gsl_interp_free);
    const std::unique_ptr<gsl_interp_accel, decltype(&gsl_interp_accel_free)> hint(gsl_interp_accel_alloc(),
                                                                                   &gsl_interp_accel_free);
    // Boost's spline has given slopes at its ends: with those of the natural one it is that one.
    using BoostSpline = boost::math::interpolators::cardinal_cubic_b_spline<double>;
    const auto makeBoost = [&table] {
        return BoostSpline(table.wideY.begin(), table.wideY.end(), -30.0, 1.5, table.endSlopes[0], table.endSlopes[1]);
    };
    gsl_interp_init(gsl.get(), table.wideX.data(), table.wideY.data(), kPoints);
    const BoostSpline boost = makeBoost();

    // The answer of a set-up is the curve at one place.
    std::vector<double> coefficients(4 * kPoints);
    const double middle = 0.375;
    run({"spline set-up, 41 points",
         1,
         1,
         1e-7,
         [&table, &coefficients, middle](double* out) {
             mek::CubicSplines(table.x.data(), table.y.data(), kPoints - 1, coefficients.data());
             bool outside = false;
             *out = static_cast<double>(mek::CalcSpline(true, table.x.data(), coefficients.data(), kPoints - 1,
                                                        static_cast<float>(middle), &outside));
         },
         {{"GSL",
           [&table, &gsl, middle](double* out) {
               gsl_interp_init(gsl.get(), table.wideX.data(), table.wideY.data(), kPoints);
               *out = gsl_interp_eval(gsl.get(), table.wideX.data(), table.wideY.data(), middle, nullptr);
           }},
          {"Boost", [&makeBoost, middle](double* out) { *out = makeBoost()(middle); }}}},
        rounds);

    mek::SplinePiece piece;
    const mek::SplineTable level = {table.x.data(), table.coefficients.data(), kPoints - 1, 1};
    const auto evaluate = [&](const char* name, const std::vector<float>& places) {
        // Ours is narrowed to a float, up to 30 here: half of 2^-19.
        run({name,
             places.size(),
             places.size(),
             2e-7,
             [&level, &places, &piece](double* out) {
                 bool outside = false;
                 for (const float place : places) { // as the engine evaluates a level's table
                     const float value =
                         piece.holds(1, place) ? piece.at(place) : mek::findSplinePiece(piece, level, place, &outside);
                     *out++ = static_cast<double>(value);
                 }
             },
             {{"GSL",
               [&table, &places, &gsl, &hint](double* out) {
                   for (const float place : places) {
                       *out++ = gsl_interp_eval(gsl.get(), table.wideX.data(), table.wideY.data(),
                                                static_cast<double>(place), hint.get());
                   }
               }},
              {"Boost",
               [&places, &boost](double* out) {
                   for (const float place : places) {
                       *out++ = boost(static_cast<double>(place));
                   }
               }}}},
            rounds);
    };
    std::vector<float> walk;
    std::vector<float> leap;
    for (std::size_t i = 0; i < kInputs; ++i) {
        walk.push_back(-10.0F + 0.01F * static_cast<float>(i));
        leap.push_back(static_cast<float>(random.between(-29.5, 29.5)));
    }
    evaluate("spline, moving", walk);
    evaluate("spline, jumping", leap);
}

void lines(Random& random, int rounds)
{
    constexpr std::size_t kPoints = 51;
    constexpr std::size_t kSets = 16;
    std::vector<std::vector<double>> sets(kSets);
    for (std::vector<double>& set : sets) {
        for (std::size_t i = 0; i < kPoints; ++i) {
            set.push_back(0.02 * static_cast<double>(i));
            set.push_back(0.3 * set.back() + random.between(-0.01, 0.01));
        }
    }
    run({"line fit, 51 points",
         kSets,
         2 * kSets,
         1e-13,
         [&sets](double* out) {
             for (const std::vector<double>& set : sets) {
                 mek::JPolyfit(kPoints, set.data(), 1, out);
                 out += 2;
             }
         },
         {{"GSL",
           [&sets](double* out) {
               double unused[4];
               for (const std::vector<double>& set : sets) {
                   gsl_fit_linear(set.data(), 2, set.data() + 1, 2, kPoints, out, out + 1, &unused[0], &unused[1],
                                  &unused[2], &unused[3]);
                   out += 2;
               }
           }}}},
        rounds);
}

// Every value that the library hands out, for a comparison bit by bit.
std::vector<double> valuesOf(CKorPrm& prm)
{
    std::vector<double> values;
    const auto add = [&values](const auto& some) { values.insert(values.end(), std::begin(some), std::end(some)); };
    unsigned int count = 0;
    F_VECTOR2 pair{};
    prm.getEncoderOffset(pair);
    values.insert(values.end(), {pair.x, pair.y});
    prm.getTiltOffset(pair);
    values.insert(values.end(), {pair.x, pair.y});
    F_VECTOR4 four{};
    prm.getThermalFactor(four);
    values.insert(values.end(), {four.x, four.y, four.z, four.w});
    int mode = 0;
    prm.getMountMode(mode);
    values.push_back(mode);
    double matrix[9];
    prm.getLocalMatrix(matrix, 3);
    add(matrix);
    prm.getMachineMatrix(matrix, 3);
    add(matrix);
    float numbers[8] = {};
    prm.getScaleFactors(numbers, count);
    values.insert(values.end(), numbers, numbers + 8);
    prm.getQVCParameters(numbers, count);
    values.insert(values.end(), numbers, numbers + 6);
    prm.getLevel1Parameters(numbers, count);
    values.insert(values.end(), numbers, numbers + 7);
    prm.getLevel2Parameters(numbers, count);
    values.insert(values.end(), numbers, numbers + 7);
    prm.getDynamicKORParameters(numbers);
    values.insert(values.end(), numbers, numbers + 7);
    float x[3] = {};
    float y[3] = {};
    prm.getPSDParameters(x, y);
    add(x);
    add(y);
    const auto addEncoder = [&](auto get) {
        (prm.*get)(count, nullptr);
        std::vector<float> table(2 * std::size_t{count});
        (prm.*get)(count, table.data());
        add(table);
    };
    addEncoder(&CKorPrm::getAzimuthComp);
    addEncoder(&CKorPrm::getElevationComp);
    const auto addLevel = [&](auto get) {
        (prm.*get)(count, nullptr, nullptr);
        std::vector<float> table(count + std::size_t{3});
        std::vector<double> coefficients(4 * std::size_t{count});
        (prm.*get)(count, table.data(), coefficients.data());
        add(table);
        add(coefficients);
    };
    addLevel(&CKorPrm::getLevelXComp);
    addLevel(&CKorPrm::getLevelYComp);
    return values;
}

std::vector<double> valuesOf(const PlainSet& set)
{
    std::vector<double> values;
    const auto add = [&values](const auto& some) { values.insert(values.end(), some.begin(), some.end()); };
    for (const double angle : set.encoderOffset) {
        values.push_back(static_cast<double>(static_cast<float>(angle)));
    }
    add(set.tiltOffset);
    add(set.thermalFactor);
    values.push_back(set.mountMode);
    add(set.localMatrix);
    add(set.machineMatrix);
    add(set.scaleFactors);
    add(set.qvc);
    add(set.level1);
    add(set.level2);
    add(set.dynamic);
    add(set.psdX);
    add(set.psdY);
    add(set.azimuth);
    add(set.elevation);
    for (std::size_t i = 0; i < 2; ++i) {
        add(set.levelTable[i]);
        add(set.levelCoefficients[i]);
    }
    return values;
}

void readers(const std::string& directory, int id, int rounds)
{
    const std::string path = directory + "/Tg" + std::to_string(id) + ".prm";
    const std::wstring wide(directory.begin(), directory.end());
    const auto ours = [&wide, id] {
        CKorPrm prm;
        keep(prm.ReadCalibrationFile(wide.c_str(), static_cast<unsigned long>(id)));
    };
    const auto plain = [&path, id] {
        PlainSet set;
        keep(PlainReader().read(path.c_str(), id, set));
    };
    CKorPrm prm;
    PlainSet set;
    if (prm.ReadCalibrationFile(wide.c_str(), static_cast<unsigned long>(id)) != 0 ||
        !PlainReader().read(path.c_str(), id, set)) {
        fail(path + " cannot be read");
    }
    const std::vector<double> wanted = valuesOf(set);
    const std::vector<double> got = valuesOf(prm);
    if (got.size() != wanted.size() || !std::equal(got.begin(), got.end(), wanted.begin())) {
        fail(path + ": the two readers find different values");
    }
    constexpr std::size_t kFiles = 50;
    const auto repeated = [](const std::function<void()>& once) {
        return [&once] {
            for (std::size_t i = 0; i < kFiles; ++i) {
                once();
            }
        };
    };
    const std::function<void()> sides[] = {ours, plain};
    const std::vector<Spent> spent = timeByTurns({repeated(sides[0]), repeated(sides[1])}, kFiles, rounds);
    std::printf("{\"name\": \"Tg%d.prm\", \"values\": %zu, %s, \"rivals\": {%s}}\n", id, got.size(),
                jsonOf("ours", spent[0]).c_str(), jsonOf("fscanf", spent[1]).c_str());
}

} // namespace

int main(int argc, char** argv)
try {
    const std::string what = argc > 2 ? argv[1] : "";
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 0;
    if (what == "mek") {
        Random random;
        matrixRoutines(random, rounds);
        rotation(random, rounds);
        splines(random, rounds);
        lines(random, rounds);
    } else if (what == "files") {
        for (int i = 3; i + 1 < argc; i += 2) {
            readers(argv[i], std::atoi(argv[i + 1]), rounds);
        }
    } else {
        fail("usage: rivals_bench mek ROUNDS | files ROUNDS DIRECTORY ID...");
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "rivals_bench: %s\n", error.what());
    return 1;
}
