// SPDX-License-Identifier: Apache-2.0
#include "AutoExposureScore.h"

#include <algorithm>

#include "ALMath.h"

namespace {

using Histogram = uint32_t[kCumulativeBins];

/** The measured frame and the times under test. */
struct Prediction {
    const uint32_t* expTimesCurr;
    const Histogram* cumMeanHistos;
    const Histogram* cumHistos;
    int32_t numExposures;
    uint32_t T_sat;  ///< level from which a pixel counts as saturated
};

/** Pixels, and the mean of their levels at the time under test. */
struct Mass {
    uint32_t mass;
    float32_t mean;
};

/** An entry of a cumulative histogram, 0 past its end. */
uint32_t entry(const Histogram& histogram, uint32_t i) noexcept {
    return i < kCumulativeBins ? histogram[i] : 0;
}

/** The pixels of one histogram after the first `skip` and below level `top`, with their mean level. */
Mass massBelow(const Histogram& cumHisto, const Histogram& cumMeanHisto, uint32_t skip,
               uint32_t top) noexcept {
    const uint32_t below = entry(cumHisto, top);
    if (skip >= below) {
        return {0, 0.0F};
    }
    const uint32_t m = below - skip;
    const int32_t q = std::max(al_truncate(quantile(cumHisto, static_cast<float32_t>(skip))), 0);
    const uint32_t qi = std::min(static_cast<uint32_t>(q), top);
    // The level in which `skip` ends counts with its remainder.
    const uint32_t remainder = entry(cumHisto, qi + 1) - skip;
    const uint32_t moment = entry(cumMeanHisto, top) - entry(cumMeanHisto, qi + 1) + qi * remainder;
    return {m, static_cast<float32_t>(moment) / static_cast<float32_t>(m)};
}

/**
 * The pixels whose level at the time `test` lies below `T`, without the first `processedMass`. The longest
 * exposure measures dark pixels best. Pixels that it saturates are taken from the shorter ones.
 */
Mass predict_histo_mean(const Prediction& frame, uint32_t test, uint32_t T, uint32_t processedMass) noexcept {
    Mass sum = {0, 0.0F};
    for (int32_t j = frame.numExposures - 1; j >= 0; --j) {
        const uint32_t curr = frame.expTimesCurr[j];
        float32_t f = 1.0F;
        uint32_t Tj = 0;
        if (test != 0) {
            f = static_cast<float32_t>(curr) * (1.0F / static_cast<float32_t>(test));
            Tj = T * curr / test;
        }
        const uint32_t top = std::min(Tj, frame.T_sat) + 1;
        const Mass part =
            massBelow(frame.cumHistos[j], frame.cumMeanHistos[j], sum.mass + processedMass, top);
        if (sum.mass + part.mass != 0) {
            const float32_t levels =
                part.mass != 0 ? (part.mean / f) * static_cast<float32_t>(part.mass) : 0.0F;
            sum.mean = (static_cast<float32_t>(sum.mass) * sum.mean + levels) /
                       static_cast<float32_t>(sum.mass + part.mass);
            sum.mass += part.mass;
        }
        if (frame.T_sat > Tj || test >= curr) {
            break;
        }
    }
    return sum;
}

/** The mean score of the pixels that were looked at, weighted by their number. */
struct WeightedScore {
    uint32_t processedMass;
    float32_t score;
};

/** Adds the pixels of one piece of the score function, which starts at `score_offset` at
 * `lastT` and rises by `slope`. */
void mixScores(const Mass& piece, float32_t score_offset, uint32_t lastT, float32_t slope,
               WeightedScore& sum) noexcept {
    const auto [mass, mean] = piece;
    if (mass + sum.processedMass == 0) {
        return;
    }
    const float32_t cscore = score_offset + (mean - static_cast<float32_t>(lastT)) * slope;
    sum.score =
        (static_cast<float32_t>(sum.processedMass) * sum.score + cscore * static_cast<float32_t>(mass)) /
        static_cast<float32_t>(sum.processedMass + mass);
    sum.processedMass += mass;
}

}  // namespace

void calculateCumHisto(const uint32_t* histogram, uint32_t* cumHisto, uint32_t* cumMeanHisto) noexcept {
    cumHisto[0] = 0;
    cumMeanHisto[0] = 0;
    for (uint32_t i = 0; i < kHistogramBins; ++i) {
        cumHisto[i + 1] = cumHisto[i] + histogram[i];
        cumMeanHisto[i + 1] = cumMeanHisto[i] + histogram[i] * i;
    }
}

float32_t quantile(const uint32_t* cumHisto, float32_t s) noexcept {
    int32_t lo = 0;
    int32_t hi = kHistogramBins;
    while (hi - lo > 1) {
        const int32_t mid = (lo + hi) / 2;
        if (s > static_cast<float32_t>(cumHisto[mid])) {
            lo = mid;
        } else {
            hi = mid;
        }
    }
    const auto a = static_cast<float32_t>(cumHisto[lo]);
    const auto b = static_cast<float32_t>(cumHisto[hi]);
    if (a == b) {
        return static_cast<float32_t>(hi + lo) * 0.5F;
    }
    return ((b - s) * static_cast<float32_t>(lo) + (s - a) * static_cast<float32_t>(hi)) / (b - a);
}

float32_t predictScore(const uint32_t* expTimesCurr, const uint32_t* expTimesTest,
                       const uint32_t* score_x_kneepoints, const float32_t* score_slopes, uint32_t numPieces,
                       const uint32_t (*cumMeanHistos)[kCumulativeBins],
                       const uint32_t (*cumHistos)[kCumulativeBins], int32_t numExposures) noexcept {
    if (numPieces < 1 || numPieces > kMaxScorePieces || numExposures > kMaxExposures) {
        return 0.0F;
    }
    const Prediction frame = {.expTimesCurr = expTimesCurr,
                              .cumMeanHistos = cumMeanHistos,
                              .cumHistos = cumHistos,
                              .numExposures = numExposures,
                              .T_sat = score_x_kneepoints[numPieces - 1]};
    WeightedScore sum = {0, 0.0F};
    for (int32_t ei = numExposures - 1; ei >= 0; --ei) {
        float32_t score_offset = 0.0F;  // the score at the beginning of the piece
        uint32_t lastT = 0;
        for (uint32_t p = 0; p < numPieces; ++p) {
            const uint32_t T = score_x_kneepoints[p];
            const Mass piece = predict_histo_mean(frame, expTimesTest[ei], T, sum.processedMass);
            mixScores(piece, score_offset, lastT, score_slopes[p], sum);
            score_offset += static_cast<float32_t>(T - lastT) * score_slopes[p];
            lastT = T;
        }
    }
    return sum.score;
}
