// Errors of many poses in one place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kor_test {

// A growing list of errors with its median and its largest.
class Errors {
public:
    void add(double error) { m_errors.push_back(error); }
    std::size_t count() const { return m_errors.size(); }
    double worst() const { return m_errors.empty() ? 0.0 : *std::max_element(m_errors.begin(), m_errors.end()); }
    double least() const { return m_errors.empty() ? 0.0 : *std::min_element(m_errors.begin(), m_errors.end()); }
    double quantile(double part) const
    {
        std::vector<double> sorted = m_errors;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0.0 : sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
    }
    double median() const { return quantile(0.5); }

private:
    std::vector<double> m_errors;
};

} // namespace kor_test
