// SPDX-License-Identifier: Apache-2.0
//
// How far measured distances lie from the truth, and how that compares with what the simulated sensor
// predicts.
//
// A pixel is judged if it is usable, its truth is above 0, it is not known as defective, and its raw
// amplitude (the length of the phasor in the exposure that the pixel was taken from) is at least 300 counts.
// Where the truth tells no amplitudes, all usable pixels with a truth are judged; where it tells no edges,
// none is one. One frequency measures distances only modulo its unique range, so its error is taken modulo
// that range. A wrong wrap is a judged pixel that lies half the shortest unique range or more from the truth;
// here nothing is taken modulo.
//
// Noise is what neighbours do not share. A bias that changes over the image, such as that of stray light,
// must not count as noise, so noise is taken from the second difference of the errors e of three judged
// pixels in a row, in which all that is linear over them cancels:
//     s[i] = e[i] - (e[i - 1] + e[i + 1]) / 2,    noise = sqrt(mean(s^2) / 1.5)
// as the variance of s is 1.5 times that of an error if the three have the same. The predicted deviations p
// go through the same combination: the variance of s[i] is p[i]^2 + (p[i - 1]^2 + p[i + 1]^2) / 4.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "figures/Errors.h"
#include "figures/Frame.h"
#include "simulation/Truth.h"

namespace figures {

inline constexpr double judgedAmplitude = 300.0;  // counts

// Judged pixels, away from edges, whose raw amplitude lies from `from` to below `to`.
struct AmplitudeBin {
    double from = 0.0;  // counts
    double to = 0.0;
    std::size_t pixels = 0;
    double bias = 0.0;       // mean error, metres
    double deviation = 0.0;  // standard deviation of the error about that mean, metres
    // Of the pixels whose neighbours left and right are judged, too; none if there are no such pixels.
    std::optional<double> measured;   // noise, metres
    std::optional<double> predicted;  // the same of what the sensor predicts for these pixels, metres

    // None where no noise is predicted.
    std::optional<double> ratio() const {
        return predicted.value_or(0.0) > 0.0 ? std::optional(*measured / *predicted) : std::nullopt;
    }
};

struct AccuracySummary {
    std::size_t frames = 0;
    std::size_t pixels = 0;  // of all frames
    std::size_t usablePixels = 0;
    std::size_t judgedPixels = 0;
    std::size_t judgedPixelsOffEdges = 0;
    std::size_t pixelsBeyondUniqueRange = 0;
    bool knowsAmplitudes = true;  // of all frames
    bool knowsEdges = true;
    // Metres. None where no pixel was judged.
    std::optional<double> bias;               // mean error of the judged pixels
    std::optional<double> medianError;        // of their absolute error
    std::optional<double> rmsError;           // root of their mean square error
    std::optional<double> percentile99Error;  // away from edges: 99 percent of them are no worse
    std::optional<double> meanError;          // signed, away from edges
    std::optional<double> rmsErrorOffEdges;
    std::optional<double> wrongWrapShare;  // of the judged pixels; none where no frequency is known
    std::vector<AmplitudeBin> bins;        // those with pixels

    // Of no pixel there is none.
    std::optional<double> usableShare() const {
        return pixels == 0 ? std::nullopt
                           : std::optional(static_cast<double>(usablePixels) / static_cast<double>(pixels));
    }
};

class Accuracy {
 public:
    static constexpr std::size_t binCount = 7;

    // `frequencies` in Hz: one of them makes the error modulo its unique range. Pixels outside of the mask do
    // not count.
    explicit Accuracy(std::vector<double> frequencies, Mask mask = {});

    // Distances in metres and confidence of one frame. Throws std::invalid_argument if they are no images.
    void add(const simulation::Truth& truth, std::span<const float> distance,
             std::span<const std::uint8_t> confidence);

    AccuracySummary summary() const;
    std::size_t frames() const { return frames_; }

    // Signed error of one pixel, metres.
    double errorOf(double measured, double truth) const;

 private:
    // Of a pixel, or of a second difference. What is unknown is NaN.
    struct Judged {
        float error = std::numeric_limits<float>::quiet_NaN();
        float predicted = std::numeric_limits<float>::quiet_NaN();
        std::size_t bin = binCount;  // of its raw amplitude; the last one is of no range
    };

    // Of the pixels of a bin.
    struct Sums {
        void add(const Judged& pixel);

        std::size_t pixels = 0;
        double errors = 0.0;
        double squares = 0.0;
        double variances = 0.0;  // predicted
    };

    // Takes the noise out of the latest frame.
    void addDifferences();
    void addDifference(const Judged& left, const Judged& pixel, const Judged& right);

    std::vector<double> frequencies_;
    double shortestRange_ = 0.0;  // metres; 0 if unknown
    Mask mask_;
    std::size_t frames_ = 0;
    std::size_t pixels_ = 0;
    std::size_t usablePixels_ = 0;
    std::size_t pixelsBeyondUniqueRange_ = 0;
    std::size_t wrongWraps_ = 0;
    Errors errors_;
    Errors errorsOffEdges_;
    std::vector<Judged> offEdges_;  // of the latest frame
    std::array<Sums, binCount + 1> errorsOfBins_;
    std::array<Sums, binCount + 1> differencesOfBins_;
    bool knowsAmplitudes_ = true;
    bool knowsEdges_ = true;
};

}  // namespace figures
