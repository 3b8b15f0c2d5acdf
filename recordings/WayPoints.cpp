#include "recordings/WayPoints.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "platform/Text.h"
#include "recordings/Columns.h"
#include "recordings/Input.h"

namespace kor::recordings {

namespace {

constexpr auto& kColumns = kWayPointColumns;

std::string_view trimmed(std::string_view text)
{
    return platform::trimmed(text, " \t\r");
}

// Reads the header line first, then a way-point a line. Each function is false when the line is not as expected.
class WayPointReader {
public:
    explicit WayPointReader(const std::string& path) : m_path(path) {}

    WayPointFile read()
    {
        if (!readText()) {
            return {{}, m_problem};
        }
        std::string_view rest = m_text;
        if (rest.starts_with("\xef\xbb\xbf")) {
            rest.remove_prefix(3);
        }
        while (!rest.empty()) {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            ++m_line;
            if (!readLine(trimmed(rest.substr(0, end)))) {
                return {{}, m_problem};
            }
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        if (m_points.empty()) {
            Problem none = problem();
            none.line = 0;
            none.reason = "there is no way-point";
            none.advice = "write one below a header line with the columns " + headerLine(kColumns);
            return {{}, none};
        }
        return {m_points, {}};
    }

private:
    bool readText()
    {
        constexpr std::size_t kLargest = 64 * 1024 * 1024;
        const auto input = Input::open(m_path, m_problem);
        if (!input) {
            return false;
        }
        do {
            m_text += input->ahead();
            input->consume(input->ahead().size());
            if (m_text.size() > kLargest) {
                m_problem = problem();
                m_problem.reason = "the file is larger than 64 MB";
                return false;
            }
        } while (input->more());
        m_problem = input->problem();
        return !m_problem;
    }

    bool readLine(std::string_view line)
    {
        if (line.empty()) {
            return true;
        }
        std::vector<std::string_view> cells = platform::split(line, ',');
        std::transform(cells.begin(), cells.end(), cells.begin(), trimmed);
        if (!m_hasHeader) {
            m_hasHeader = true;
            return readHeader(cells);
        }
        return readRow(cells);
    }

    bool readHeader(const std::vector<std::string_view>& cells)
    {
        for (std::size_t i = 0; i < kColumns.size(); ++i) {
            const std::string_view name = kColumns[i].name;
            const auto at = std::find(cells.begin(), cells.end(), name);
            if (at == cells.end()) {
                return refuse("", "no column " + platform::inQuotes(name), "the columns " + headerLine(kColumns));
            }
            if (std::count(cells.begin(), cells.end(), name) > 1) {
                return refuse("", "column " + platform::inQuotes(name) + " more than once", "it once");
            }
            m_place[i] = static_cast<std::size_t>(at - cells.begin());
        }
        return cells.size() == kColumns.size() ||
               refuse("", std::to_string(cells.size()) + " columns", std::to_string(kColumns.size()));
    }

    bool readRow(const std::vector<std::string_view>& cells)
    {
        if (cells.size() != kColumns.size()) {
            return refuse("", std::to_string(cells.size()) + " values", std::to_string(kColumns.size()));
        }
        std::array<double, kColumns.size()> values{};
        for (std::size_t i = 0; i < kColumns.size(); ++i) {
            const std::string_view cell = cells[m_place[i]];
            const auto [stop, error] = std::from_chars(cell.data(), cell.data() + cell.size(), values[i]);
            if (error != std::errc() || stop != cell.data() + cell.size() || !(std::fabs(values[i]) <= 1e6)) {
                return refuse(kColumns[i].name, platform::inQuotes(cell), "a number from -1e6 to 1e6");
            }
        }
        if (!m_points.empty() && !(values[0] > m_points.back().time)) {
            return refuse(kColumns[0].name, platform::inQuotes(cells[m_place[0]]),
                          "a later time than in the row before");
        }
        m_points.push_back({values[0], {values[1], values[2], values[3]}, values[4], values[5], values[6]});
        return true;
    }

    Problem problem() const
    {
        Problem problem;
        problem.kind = Problem::Kind::badData;
        problem.file = platform::shown(m_path);
        problem.line = m_line;
        return problem;
    }

    bool refuse(std::string_view column, const std::string& found, const std::string& expected)
    {
        m_problem = problem();
        m_problem.column = column;
        m_problem.found = found;
        m_problem.expected = expected;
        return false;
    }

    std::string m_path;
    std::string m_text;
    std::size_t m_line = 0;
    bool m_hasHeader = false;
    std::array<std::size_t, kColumns.size()> m_place{}; // of each column in the file
    std::vector<WayPoint> m_points;
    Problem m_problem;
};

} // namespace

WayPointFile readWayPoints(const std::string& path)
{
    return WayPointReader(path).read();
}

} // namespace kor::recordings
