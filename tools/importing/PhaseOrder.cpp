// SPDX-License-Identifier: Apache-2.0

#include "importing/PhaseOrder.h"

#include <algorithm>
#include <cmath>

#include "importing/Samples.h"

namespace importing {
namespace {

constexpr std::array<const char*, phaseCount> degrees{"0", "90", "180", "270"};
constexpr std::size_t half = 2;  // of a turn, in phases

// Sums of samples at the limits of the converter say nothing.
bool isMeasured(std::span<const std::vector<double>> images, std::size_t pixel) {
    return std::all_of(images.begin(), images.end(), [pixel](const std::vector<double>& image) {
        return image[pixel] > 0.0 && image[pixel] < largestSample;
    });
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0.0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

std::optional<PhaseOrder> readPhaseOrder(const std::string& text) {
    PhaseOrder order;
    std::array<bool, phaseCount> isThere{};
    std::string_view rest = text;
    for (std::size_t place = 0; place < phaseCount; ++place) {
        const std::size_t comma = rest.find(',');
        const auto phase = std::find(degrees.begin(), degrees.end(), rest.substr(0, comma));
        const bool isLast = place + 1 == phaseCount;
        if (phase == degrees.end() || (comma == std::string_view::npos) != isLast) {
            return std::nullopt;
        }
        const auto number = static_cast<std::size_t>(phase - degrees.begin());
        if (isThere[number]) {
            return std::nullopt;
        }
        isThere[number] = true;
        order.places[number] = place;
        rest.remove_prefix(isLast ? rest.size() : comma + 1);
    }
    return order;
}

std::string textOf(const PhaseOrder& order) {
    std::string text;
    for (std::size_t place = 0; place < phaseCount; ++place) {
        const auto phase = std::find(order.places.begin(), order.places.end(), place) - order.places.begin();
        text += text.empty() ? "" : ",";
        text += degrees.at(static_cast<std::size_t>(phase));
    }
    return text;
}

std::size_t oppositeOfFirst(const PhaseOrder& order) {
    const auto first = std::find(order.places.begin(), order.places.end(), 0U) - order.places.begin();
    return order.places[(static_cast<std::size_t>(first) + half) % phaseCount];
}

PhaseOrder orderWithOpposite(std::size_t opposite) {
    PhaseOrder order;
    order.places[half] = opposite;
    std::size_t phase = 1;
    for (std::size_t place = 1; place < phaseCount; ++place) {
        if (place != opposite) {
            order.places[phase] = place;
            phase += half;
        }
    }
    return order;
}

std::optional<std::size_t> PairSums::opposite() const {
    const auto best = std::min_element(mismatch.begin(), mismatch.end());
    for (auto other = mismatch.begin(); other != mismatch.end(); ++other) {
        if (other != best && !(*other > 2.0 * *best && *other > 1.0)) {
            return std::nullopt;
        }
    }
    return static_cast<std::size_t>(best - mismatch.begin()) + 1;
}

PairSums pairSumsOf(std::span<const std::vector<double>> images) {
    PairSums sums;
    for (std::size_t opposite = 1; opposite < phaseCount; ++opposite) {
        const PhaseOrder order = orderWithOpposite(opposite);
        const auto image = [&](std::size_t phase) -> const std::vector<double>& {
            return images[order.places[phase]];
        };
        std::vector<double> differences;
        differences.reserve(images[0].size());
        for (std::size_t i = 0; i < images[0].size(); ++i) {
            const double difference = image(0)[i] + image(2)[i] - image(1)[i] - image(3)[i];
            if (isMeasured(images, i)) {
                differences.push_back(std::abs(difference));
            }
        }
        sums.mismatch[opposite - 1] = median(std::move(differences));
    }
    return sums;
}

}  // namespace importing
