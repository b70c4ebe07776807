// Levels of sinusoids in a signal, for tests that measure filters and dither.
#pragma once

#include <cstddef>
#include <vector>

// Amplitudes of sinusoids of the given frequencies in y[from, to), fitted
// together by least squares: exact when nothing else is there, so levels far
// below the other components can be read.
std::vector<double> ToneAmplitudes(const std::vector<double>& y, std::size_t from, std::size_t to, int rate,
                                   const std::vector<double>& hz);
