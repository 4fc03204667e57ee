// SPDX-License-Identifier: Apache-2.0

#include "imaging/ColorMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace imaging {
namespace {

using Coefficients = std::array<double, 7>;  // of the powers 0 to 6

constexpr std::array<Coefficients, 3> turbo{{
    {0.13572138, 4.61539260, -42.66032258, 132.13108234, -152.94239396, 59.28637943, 0.0},
    {0.09140261, 2.19418839, 4.84296658, -14.18503333, 4.27729857, 2.82956604, 0.0},
    {0.10667330, 12.64194608, -60.58204836, 110.36276771, -89.90310912, 27.34824973, 0.0},
}};

constexpr std::array<Coefficients, 3> viridis{{
    {0.2777273272, 0.1050930431, -0.3308618287, -4.6342304990, 6.2282699363, 4.7763849977, -5.4354558559},
    {0.0054073445, 1.4046135299, 0.2148475595, -5.7991009734, 14.1799333668, -13.7451453777, 4.6458526122},
    {0.3340998053, 1.3845901626, 0.0950951630, -19.3324409563, 56.6905526007, -65.3530326333, 26.3124352496},
}};

std::uint8_t toByte(double share) {
    return static_cast<std::uint8_t>(std::lround(255.0 * std::clamp(share, 0.0, 1.0)));
}

double evaluate(const Coefficients& coefficients, double x) {
    double sum = 0.0;
    for (std::size_t k = coefficients.size(); k-- > 0;) {
        sum = sum * x + coefficients[k];
    }
    return sum;
}

Color evaluate(const std::array<Coefficients, 3>& map, double x) {
    return {toByte(evaluate(map[0], x)), toByte(evaluate(map[1], x)), toByte(evaluate(map[2], x))};
}

Color blueWhiteRed(double x) {
    const double away = std::abs(2.0 * x - 1.0);
    const double fade = 1.0 - 0.85 * away;
    const double strong = 1.0 - 0.25 * away * away;
    return x < 0.5 ? Color{toByte(fade), toByte(0.5 * (fade + strong) - 0.1 * away), toByte(strong)}
                   : Color{toByte(strong), toByte(fade), toByte(fade)};
}

}  // namespace

Color colorAt(ColorMap map, double position) {
    if (std::isnan(position)) {
        return {};
    }
    const double x = std::clamp(position, 0.0, 1.0);
    switch (map) {
        case ColorMap::Turbo:
            return evaluate(turbo, x);
        case ColorMap::Viridis:
            return evaluate(viridis, x);
        case ColorMap::BlueWhiteRed:
            return blueWhiteRed(x);
        case ColorMap::Grey:
            break;
    }
    return {toByte(x), toByte(x), toByte(x)};
}

}  // namespace imaging
