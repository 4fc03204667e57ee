// SPDX-License-Identifier: Apache-2.0
//
// Stray light: surfaces of the lens and of the sensor scatter a part of the light, so that every pixel
// receives a small share of the phasor of every other one.

#pragma once

#include <complex>
#include <filesystem>
#include <vector>

#include "simulation/Image.h"

namespace simulation {

// How the light of a point spreads over the image: 449 x 345 values, row by row, the point in the middle, in
// any unit.
struct PointSpread {
    static constexpr int width = 2 * imageWidth + 1;
    static constexpr int height = 2 * imageHeight + 1;
    std::vector<double> values;
};

// Reads 154905 little-endian floats. Throws std::invalid_argument, with a sentence that names the file, for a
// file that cannot be read, of another size, or with a value that is negative, infinite or not a number.
PointSpread readPointSpread(const std::filesystem::path& path);

// The scattered part of a point spread function: everything except the nearest surroundings of the point.
class Straylight {
 public:
    // `weight` is the share that a scattered part as large as the whole would have. The default is the weight
    // by which the algorithm's correction subtracts what it finds. Up to `coreRadius` pixels from the point
    // light counts as not scattered: it belongs to the image of the point.
    explicit Straylight(const PointSpread& pointSpread, double weight = 1.609766, int coreRadius = 8);

    // Adds the scattered light to an image of phasors of 224 x 172 pixels. All arriving light scatters, even
    // scattered light: measured = ideal + scatter(measured).
    void addTo(std::vector<std::complex<double>>& phasors) const;

 private:
    std::vector<std::complex<double>> spectrum_;  // of the scattered part
};

}  // namespace simulation
