#include <tbrNumerics/floatAvg.h>

#include <numeric>

floatAvg::floatAvg(unsigned length) : m_Length(length == 0 ? 1 : length), m_Next(0) {}

float floatAvg::addValue(float sample)
{
    if (m_Length == 1)
        return sample;

    if (m_Window.size() < m_Length)
        m_Window.push_back(sample);
    else
        m_Window[m_Next] = sample;
    m_Next = m_Next + 1 < m_Length ? m_Next + 1 : 0; // a remainder would take longer than the sum

    const double sum = std::accumulate(m_Window.begin(), m_Window.end(), 0.0);
    return static_cast<float>(sum / static_cast<double>(m_Window.size()));
}
