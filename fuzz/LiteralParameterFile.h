// A parameter file read plainly, block after block, as a program of few lines would do it with formatted input. Nothing
// of the library takes part.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace kor_fuzz {

// Formatted input in the "C" locale from a text that ends at its first byte 0x1A.
class LiteralInput {
public:
    explicit LiteralInput(std::string_view text) : m_text(text.substr(0, text.find('\x1A'))) {}

    // Whether something has looked behind the last character.
    bool hasEnded() const { return m_hasEnded; }
    std::size_t taken() const { return m_at; }

    // "%s"
    bool word(std::string& text)
    {
        text.clear();
        skipBlanks();
        while (look() != kEnd && !isBlank(look())) {
            text += static_cast<char>(take());
        }
        return !text.empty();
    }

    // "%s\n"
    void skipWord()
    {
        std::string ignored;
        if (word(ignored)) {
            skipBlanks();
        }
    }

    // "%s %s ... %s\n": the words, joined with single blanks.
    std::string words(int count)
    {
        std::string all;
        std::string one;
        for (int i = 0; i < count; ++i) {
            if (!word(one)) {
                return all;
            }
            all += (i > 0 ? " " : "") + one;
        }
        skipBlanks();
        return all;
    }

    // "%d\n", with 64 bits.
    bool integer(std::int64_t& value)
    {
        skipBlanks();
        std::string item;
        if (look() == '+' || look() == '-') {
            item += static_cast<char>(take());
        }
        bool any = false;
        while (look() >= '0' && look() <= '9') {
            item += static_cast<char>(take());
            any = true;
        }
        if (!any) {
            return false;
        }
        value = std::strtoll(item.c_str(), nullptr, 10);
        skipBlanks();
        return true;
    }

    // "%f\t%f ... %f\n": as many values as can be read; the others stay.
    int floats(float* values, int count)
    {
        for (int i = 0; i < count; ++i) {
            if (!number(values[i])) {
                return i;
            }
        }
        skipBlanks();
        return count;
    }

private:
    static constexpr int kEnd = -1;

    static bool isBlank(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    int look()
    {
        if (m_at == m_text.size()) {
            m_hasEnded = true;
            return kEnd;
        }
        return static_cast<unsigned char>(m_text[m_at]);
    }

    int take() { return static_cast<unsigned char>(m_text[m_at++]); }

    void skipBlanks()
    {
        while (isBlank(look())) {
            take();
        }
    }

    // How far a text is a number, or the beginning of one.
    enum class State {
        none,
        begin,
        sign,
        zero, // one leading zero: "0x" may follow
        digits,
        point, // without a digit so far
        fraction,
        exponent,
        exponentSign,
        exponentDigits,
        hex,
        hexDigits,
        hexPoint,
        hexFraction,
        i,
        in,
        inf,
        infi,
        infin,
        infini,
        infinit,
        infinity,
        n,
        na,
        nan,
        payload,
        closed,
    };

    static State behind(State state, int c)
    {
        const int lower = c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
        const bool digit = c >= '0' && c <= '9';
        const bool hexDigit = digit || (lower >= 'a' && lower <= 'f');
        const auto on = [lower](char wanted, State next) { return lower == wanted ? next : State::none; };
        switch (state) {
        case State::begin:
            if (c == '+' || c == '-') {
                return State::sign;
            }
            [[fallthrough]];
        case State::sign:
            return c == '0'       ? State::zero
                   : digit        ? State::digits
                   : c == '.'     ? State::point
                   : lower == 'i' ? State::i
                                  : on('n', State::n);
        case State::zero:
            if (lower == 'x') {
                return State::hex;
            }
            [[fallthrough]];
        case State::digits:
            return digit ? State::digits : c == '.' ? State::fraction : on('e', State::exponent);
        case State::point:
            return digit ? State::fraction : State::none;
        case State::fraction:
            return digit ? State::fraction : on('e', State::exponent);
        case State::exponent:
            if (c == '+' || c == '-') {
                return State::exponentSign;
            }
            [[fallthrough]];
        case State::exponentSign:
        case State::exponentDigits:
            return digit ? State::exponentDigits : State::none;
        case State::hex:
            return hexDigit ? State::hexDigits : c == '.' ? State::hexPoint : State::none;
        case State::hexDigits:
            return hexDigit ? State::hexDigits : c == '.' ? State::hexFraction : on('p', State::exponent);
        case State::hexPoint:
            return hexDigit ? State::hexFraction : State::none;
        case State::hexFraction:
            return hexDigit ? State::hexFraction : on('p', State::exponent);
        case State::i:
            return on('n', State::in);
        case State::in:
            return on('f', State::inf);
        case State::inf:
            return on('i', State::infi);
        case State::infi:
            return on('n', State::infin);
        case State::infin:
            return on('i', State::infini);
        case State::infini:
            return on('t', State::infinit);
        case State::infinit:
            return on('y', State::infinity);
        case State::n:
            return on('a', State::na);
        case State::na:
            return on('n', State::nan);
        case State::nan:
            return c == '(' ? State::payload : State::none;
        case State::payload:
            return c == ')'                                              ? State::closed
                   : digit || (lower >= 'a' && lower <= 'z') || c == '_' ? State::payload
                                                                         : State::none;
        case State::none:
        case State::infinity:
        case State::closed:
            return State::none;
        }
        return State::none;
    }

    static bool isNumber(State state)
    {
        return state == State::zero || state == State::digits || state == State::fraction ||
               state == State::exponentDigits || state == State::hexDigits || state == State::hexFraction ||
               state == State::inf || state == State::infinity || state == State::nan || state == State::closed;
    }

    // "%f": takes the longest text that a number may begin with.
    bool number(float& value)
    {
        skipBlanks();
        std::string item;
        State state = State::begin;
        while (look() != kEnd && behind(state, look()) != State::none) {
            state = behind(state, look());
            item += static_cast<char>(take());
        }
        if (!isNumber(state)) {
            return false;
        }
        value = std::strtof(item.c_str(), nullptr);
        return true;
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    bool m_hasEnded = false;
};

// What a read leaves, and the read.
class LiteralParameterFile {
public:
    int status = 0;
    unsigned message = 0;

    double angleOffset[2] = {};
    double knownVector[3] = {};
    double localMatrix[9] = {};
    double machineMatrix[9] = {};
    float thermalFactor[4] = {};
    float tiltOffset[2] = {};
    float admOffset = 0;
    std::uint32_t azimuthCount = 0;
    bool hasAzimuth = false;
    std::vector<float> azimuth; // keeps the size of the first read
    float azimuthRollover[2] = {1.0F, 360.0F};
    std::uint32_t elevationCount = 0;
    bool hasElevation = false;
    std::vector<float> elevation;
    float elevationRollover[2] = {1.0F, 360.0F};
    struct Level {
        std::uint32_t count = 0;
        std::vector<float> table;
        std::vector<double> coefficients;
    };
    Level levelX;
    Level levelY;
    float scaleFactors[8] = {};
    std::int32_t mountMode = 0;
    float qvc[6] = {};
    float level1[7] = {};
    float level2[7] = {};
    float halfRange[2] = {180.0F, 60.0F};
    float psdX[3] = {};
    float psdY[3] = {};
    float dynamic[7] = {};
    float limits[4] = {-35.0F, 35.0F, -35.0F, 35.0F};

    void read(std::string_view bytes, std::uint32_t id)
    {
        LiteralInput in(bytes);
        message = 0;
        status = walk(in, bytes.size(), id) ? 0 : 553;
    }

private:
    bool fail(unsigned code)
    {
        message = code;
        return false;
    }

    static bool hasTitle(LiteralInput& in, const char* title, int words)
    {
        std::string line = in.words(words);
        line = line.substr(0, line.find('\0'));
        return line.find(title) != std::string::npos;
    }

    // A block that must be there.
    bool begins(LiteralInput& in, const char* title, int words, unsigned code)
    {
        return (!in.hasEnded() && hasTitle(in, title, words)) || fail(code);
    }

    bool walk(LiteralInput& in, std::size_t size, std::uint32_t id)
    {
        float ignored[6];
        float row[7] = {};
        std::int64_t whole = 0;

        if (!begins(in, "Serial Number", 2, 601)) {
            return false;
        }
        const bool fits = in.integer(whole) && whole >= -2147483648LL && whole <= 4294967295LL;
        if (!fits || static_cast<std::uint32_t>(whole) != id) {
            return fail(602);
        }

        if (!begins(in, "Device Owner", 2, 603)) {
            return false;
        }
        in.skipWord();

        if (!begins(in, "AZ Position Gain", 3, 604)) {
            return false;
        }
        in.floats(ignored, 6);
        if (!begins(in, "EL Position Gain", 3, 605)) {
            return false;
        }
        in.floats(ignored, 6);
        if (!begins(in, "AZ Tracking Gain", 3, 606)) {
            return false;
        }
        in.floats(ignored, 6);
        if (!begins(in, "EL Tracking Gain", 3, 607)) {
            return false;
        }
        in.floats(ignored, 6);
        if (!begins(in, "Digital Damping", 2, 608)) {
            return false;
        }
        in.floats(ignored, 4);

        if (!begins(in, "Angle Offset", 2, 609)) {
            return false;
        }
        for (int i = 0, n = in.floats(row, 2); i < n; ++i) {
            angleOffset[i] = static_cast<double>(row[i]) * 0.01745329251994;
        }

        if (!begins(in, "Transform Vector", 2, 610)) {
            return false;
        }
        for (int i = 0, n = in.floats(row, 3); i < n; ++i) {
            knownVector[i] = static_cast<double>(row[i]);
        }

        if (!begins(in, "Local Coordinate Tranform Matrix", 4, 611)) {
            return false;
        }
        threeRows(in, localMatrix);

        if (!begins(in, "Machine Coordinate Tranform Matrix", 4, 612)) {
            return false;
        }
        threeRows(in, machineMatrix);
        invert(machineMatrix);

        if (!begins(in, "Thermal Compensation Factor", 3, 613)) {
            return false;
        }
        in.floats(thermalFactor, 4);
        if (!begins(in, "Tilt Sensor Offset", 3, 614)) {
            return false;
        }
        in.floats(tiltOffset, 2);
        if (!begins(in, "ADM Offset", 2, 615)) {
            return false;
        }
        in.floats(&admOffset, 1);

        if (!begins(in, "AZ Calibration Table", 3, 616)) {
            return false;
        }
        if (!readCount(in, size, azimuthCount, hasAzimuth && azimuth.size() / 2 >= azimuthCount,
                       hasAzimuth ? azimuth.size() / 2 : SIZE_MAX)) {
            return fail(616);
        }
        if (!hasAzimuth) {
            hasAzimuth = true;
            azimuth.assign(2 * std::size_t{azimuthCount}, 0.0F);
        }
        encoderRows(in, azimuth, azimuthCount, azimuthRollover);

        if (!begins(in, "EL Calibration Table", 3, 617)) {
            return false;
        }
        if (!readCount(in, size, elevationCount, hasElevation && elevation.size() / 2 >= elevationCount)) {
            return fail(617);
        }
        hasElevation = true;
        elevation.assign(2 * std::size_t{elevationCount}, 0.0F);
        encoderRows(in, elevation, elevationCount, elevationRollover);

        if (!begins(in, "Tilt X Calibration Table", 4, 618)) {
            return false;
        }
        if (!readCount(in, size, levelX.count, holds(levelX))) {
            return fail(618);
        }
        tiltTable(in, levelX, levelX.count);
        const float xLow = levelX.table[levelX.count];
        const float xHigh = levelX.table[levelX.count + 1];

        float yLow = -35.0F;
        float yHigh = 35.0F;
        if (!in.hasEnded()) {
            if (!hasTitle(in, "Tilt Y Calibration Table", 4) || !readCount(in, size, levelY.count, holds(levelY))) {
                return fail(619);
            }
            // The extra values stand where those of table X do.
            tiltTable(in, levelY, levelX.count);
            yLow = levelY.table[levelX.count];
            yHigh = levelY.table[levelX.count + 1];
        }

        if (in.hasEnded()) {
            for (int i = 0; i < 8; ++i) {
                scaleFactors[i] = i >= 4 && i <= 6 ? 1.0F : 0.0F;
            }
        } else {
            if (!hasTitle(in, "Scale Factor", 2)) {
                return fail(621);
            }
            oneByOne(in, scaleFactors, 8);
        }

        if (in.hasEnded()) {
            mountMode = 0;
        } else {
            if (!hasTitle(in, "Mounting Mode", 2)) {
                return fail(619);
            }
            if (in.integer(whole)) {
                mountMode = whole > INT32_MAX   ? INT32_MAX
                            : whole < INT32_MIN ? INT32_MIN
                                                : static_cast<std::int32_t>(whole);
            }
        }

        if (mountMode >= 7 && !readModelBlocks(in)) {
            return false;
        }
        limits[0] = mountMode == 7 || mountMode == 8 ? 0.0F : xLow;
        limits[1] = mountMode == 7 || mountMode == 8 ? 0.0F : xHigh;
        limits[2] = yLow;
        limits[3] = yHigh;
        return true;
    }

    bool readModelBlocks(LiteralInput& in)
    {
        if (!zerosOr(in, "QVC", 622, qvc, 6) || !zerosOr(in, "Level_X", 623, level1, 7) ||
            !zerosOr(in, "Level_Y", 624, level2, 7)) {
            return false;
        }
        if (!begins(in, "Half Angle", 2, 609)) {
            return false;
        }
        float degrees[2] = {};
        for (int i = 0, n = in.floats(degrees, 2); i < n; ++i) {
            halfRange[i] = static_cast<float>(static_cast<double>(degrees[i]) * 0.01745329251994);
        }
        if (!begins(in, "PSDX", 1, 0)) {
            return false;
        }
        in.floats(psdX, 3);
        if (!begins(in, "PSDY", 1, 0)) {
            return false;
        }
        in.floats(psdY, 3);
        if (!begins(in, "DynamicParameters", 1, 0)) {
            return false;
        }
        in.floats(dynamic, 7);
        return true;
    }

    bool zerosOr(LiteralInput& in, const char* title, unsigned code, float* values, int count)
    {
        if (in.hasEnded()) {
            for (int i = 0; i < count; ++i) {
                values[i] = 0.0F;
            }
            return true;
        }
        if (!hasTitle(in, title, 1)) {
            return fail(code);
        }
        oneByOne(in, values, count);
        return true;
    }

    static void oneByOne(LiteralInput& in, float* values, int count)
    {
        for (int i = 0; i < count; ++i) {
            in.floats(values + i, 1);
        }
    }

    static void threeRows(LiteralInput& in, double* matrix)
    {
        for (int r = 0; r < 3; ++r) {
            float row[3] = {};
            for (int i = 0, n = in.floats(row, 3); i < n; ++i) {
                matrix[3 * r + i] = static_cast<double>(row[i]);
            }
        }
    }

    // A count that the bytes behind it cannot hold is refused; one that cannot be read leaves the old one, if there are
    // rows for it.
    static bool readCount(LiteralInput& in, std::size_t size, std::uint32_t& count, bool oldWillDo,
                          std::size_t most = SIZE_MAX)
    {
        std::int64_t whole = 0;
        if (!in.integer(whole)) {
            return oldWillDo;
        }
        const std::size_t left = size - in.taken();
        if (whole < 0 || whole > INT32_MAX || static_cast<std::uint64_t>(whole) > left ||
            static_cast<std::uint64_t>(whole) > most) {
            return false;
        }
        count = static_cast<std::uint32_t>(whole);
        return true;
    }

    static bool holds(const Level& level)
    {
        return !level.table.empty() && level.table.size() - 3 >= level.count &&
               level.coefficients.size() / 4 >= level.count;
    }

    static void encoderRows(LiteralInput& in, std::vector<float>& table, std::uint32_t count, float* rollover)
    {
        for (std::size_t row = 0; row < count; ++row) {
            in.floats(&table[2 * row], 2);
        }
        if (count > 0) {
            rollover[0] = table[0];
            rollover[1] = table[2 * std::size_t{count} - 2];
        }
    }

    static void tiltTable(LiteralInput& in, Level& level, std::size_t extrasAt)
    {
        const std::size_t count = level.count;
        level.table.assign((count > extrasAt ? count : extrasAt) + 3, 0.0F);
        level.coefficients.assign(4 * count, 0.0);
        std::vector<float> corrections(count, 0.0F);
        for (std::size_t i = 0; i < count; ++i) {
            float row[2] = {};
            const int n = in.floats(row, 2);
            level.table[i] = n > 0 ? row[0] : 0.0F;
            corrections[i] = n > 1 ? row[1] : 0.0F;
        }
        in.floats(&level.table[extrasAt], 3);
        in.skipWord();
        if (count >= 2) {
            naturalSpline(level.table, corrections, count - 1, level.coefficients);
        }
    }

    // The natural cubic spline through count + 1 points: the tridiagonal system for half the second derivatives.
    static void naturalSpline(const std::vector<float>& x, const std::vector<float>& y, std::size_t count,
                              std::vector<double>& out)
    {
        std::vector<double> h(count);
        std::vector<double> rise(count);
        std::vector<double> reduced(count + 1, 0.0);
        std::vector<double> factor(count + 1, 0.0);
        std::vector<double> half(count + 1, 0.0);
        for (std::size_t i = 0; i < count; ++i) {
            h[i] = static_cast<double>(x[i + 1]) - static_cast<double>(x[i]);
            rise[i] = static_cast<double>(y[i + 1]) - static_cast<double>(y[i]);
        }
        for (std::size_t i = 1; i < count; ++i) {
            const double pivot = 2.0 * (h[i - 1] + h[i]) - h[i - 1] * factor[i - 1];
            const double bend = 3.0 * (rise[i] / h[i] - rise[i - 1] / h[i - 1]);
            reduced[i] = (bend - h[i - 1] * reduced[i - 1]) / pivot;
            factor[i] = h[i] / pivot;
        }
        for (std::size_t i = count; i-- > 0;) {
            half[i] = reduced[i] - factor[i] * half[i + 1];
        }
        for (std::size_t i = 0; i < count; ++i) {
            out[4 * i] = static_cast<double>(y[i]);
            out[4 * i + 1] = rise[i] / h[i] - h[i] * (2.0 * half[i] + half[i + 1]) / 3.0;
            out[4 * i + 2] = half[i];
            out[4 * i + 3] = (half[i + 1] - half[i]) / (3.0 * h[i]);
        }
    }

    // Gauss-Jordan elimination with partial pivoting; a singular matrix stays.
    static void invert(double* m)
    {
        double largest = 0.0;
        for (int i = 0; i < 9; ++i) {
            if (std::fabs(m[i]) > largest) {
                largest = std::fabs(m[i]);
            }
        }
        double work[3][6] = {};
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                work[i][j] = m[3 * i + j];
            }
            work[i][3 + i] = 1.0;
        }
        for (int k = 0; k < 3; ++k) {
            int best = k;
            for (int i = k; i < 3; ++i) {
                if (std::isnan(work[i][k])) {
                    return;
                }
                if (std::fabs(work[i][k]) > std::fabs(work[best][k])) {
                    best = i;
                }
            }
            if (!(std::fabs(work[best][k]) > 3.0 * 0x1p-52 * largest)) {
                return;
            }
            double pivotRow[6];
            for (int j = 0; j < 6; ++j) {
                pivotRow[j] = work[best][j];
                work[best][j] = work[k][j];
            }
            for (int j = 0; j < 6; ++j) {
                work[k][j] = pivotRow[j] / pivotRow[k];
            }
            for (int i = 0; i < 3; ++i) {
                const double factor = work[i][k];
                for (int j = 0; i != k && j < 6; ++j) {
                    work[i][j] = work[i][j] - factor * work[k][j];
                }
            }
        }
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                m[3 * i + j] = work[i][3 + j];
            }
        }
    }
};

} // namespace kor_fuzz
