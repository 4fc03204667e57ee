// SPDX-License-Identifier: Apache-2.0

#include "calibrating/ResidualPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "imaging/Plot.h"
#include "simulation/Image.h"
#include "texts/Markup.h"

namespace calibrating {
namespace {

using imaging::Plot;
using imaging::PlotPoint;
using imaging::PlotSeries;
using imaging::svgOf;
using imaging::svgOfImage;

constexpr double turn = 2.0 * std::numbers::pi;
constexpr std::size_t phaseBins = 72;
const char* const colorBefore = "#c2410c";
const char* const colorAfter = "#0369a1";

// Median and the middle two thirds.
PlotPoint pointOf(double x, std::vector<double>& values) {
    std::ranges::sort(values);
    const auto at = [&](double share) {
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
    };
    return {x, at(0.5), at(1.0 / 6.0), at(5.0 / 6.0)};
}

// Values in the bins of a number; bins with few of them are left out.
class Bins {
 public:
    explicit Bins(std::size_t count) : values_(count) {}

    void add(std::size_t bin, double value) { values_[std::min(bin, values_.size() - 1)].push_back(value); }

    template <typename Place>
    std::vector<PlotPoint> points(Place place) {
        constexpr std::size_t fewest = 20;
        std::vector<PlotPoint> points;
        for (std::size_t bin = 0; bin < values_.size(); ++bin) {
            if (values_[bin].size() >= fewest) {
                points.push_back(pointOf(place(bin), values_[bin]));
            }
        }
        return points;
    }

 private:
    std::vector<std::vector<double>> values_;
};

std::size_t phaseBin(double shown) {
    const double share = shown / turn + 0.5;
    return std::min(static_cast<std::size_t>(share * static_cast<double>(phaseBins)), phaseBins - 1);
}

double phaseOfBin(std::size_t bin) {
    return 360.0 * ((static_cast<double>(bin) + 0.5) / static_cast<double>(phaseBins) - 0.5);
}

Plot phasePlot(const FrequencyResult& result, double millimetres) {
    Bins before(phaseBins);
    Bins after(phaseBins);
    for (const PhaseResidual& residual : result.phase.residuals) {
        before.add(phaseBin(residual.shown), millimetres * residual.before);
        after.add(phaseBin(residual.shown), millimetres * residual.after);
    }
    return {"Error of the distance over the shown phase",
            "shown phase, degrees",
            "median error, mm",
            {{"before", colorBefore, before.points(phaseOfBin), false, true},
             {"after", colorAfter, after.points(phaseOfBin), false, true}}};
}

Plot scenePlot(const FrequencyResult& result, std::size_t scenes, double millimetres) {
    Bins before(scenes);
    Bins after(scenes);
    for (const PhaseResidual& residual : result.phase.residuals) {
        before.add(residual.scene, millimetres * residual.before);
        after.add(residual.scene, millimetres * residual.after);
    }
    const auto number = [](std::size_t scene) { return static_cast<double>(scene + 1); };
    return {
        "Error of the distance in each recording",
        "number of the recording",
        "median and two thirds of the pixels, mm",
        {{"before", colorBefore, before.points([&](std::size_t k) { return number(k) - 0.1; }), true, false},
         {"after", colorAfter, after.points([&](std::size_t k) { return number(k) + 0.1; }), true, false}}};
}

Plot amplitudePlot(const FrequencyResult& result) {
    Bins before(phaseBins);
    Bins after(phaseBins);
    for (const AmplitudeResidual& residual : result.amplitude.residuals) {
        before.add(phaseBin(residual.shown), 100.0 * residual.before);
        after.add(phaseBin(residual.shown), 100.0 * residual.after);
    }
    return {"Deviation of the amplitude over the shown phase",
            "shown phase, degrees",
            "median deviation, %",
            {{"before", colorBefore, before.points(phaseOfBin), false, true},
             {"after", colorAfter, after.points(phaseOfBin), false, true}}};
}

Plot noisePlot(const NoiseFit& noise) {
    PlotSeries measured{"measured", colorBefore, {}, false, false};
    PlotSeries line{"read + shot * amplitude", colorAfter, {}, false, true};
    for (const NoiseBin& bin : noise.bins) {
        measured.points.push_back({bin.amplitude, bin.variance, 0.0, 0.0});
        line.points.push_back({bin.amplitude, noise.varianceAt(bin.amplitude), 0.0, 0.0});
    }
    return {"Variance of X and Y over the amplitude",
            "amplitude, counts",
            "variance, counts squared",
            {std::move(measured), std::move(line)}};
}

std::string row(const std::string& name, const std::string& value, const std::string& error) {
    return "<tr><td>" + texts::escaped(name) + "</td><td>" + texts::escaped(value) + "</td><td>" +
           texts::escaped(error) + "</td></tr>\n";
}

std::string harmonicRow(const char* name, float amplitude, float angle, double error, double factor,
                        const char* unit) {
    return row(name,
               fmt::format("{:.3f} {}, angle {:.2f} rad", factor * static_cast<double>(amplitude), unit,
                           static_cast<double>(angle)),
               fmt::format("{:.3f} {}", factor * error, unit));
}

std::string temperatureRow(const PhaseFit& phase) {
    const auto& factors = phase.calibration.temperatureFactor;
    return row(
        "temperatureFactor",
        fmt::format("{:.3g}, {:.3g}, {:.3g} around {:.1f} degrees Celsius", static_cast<double>(factors[0]),
                    static_cast<double>(factors[1]), static_cast<double>(factors[2]),
                    static_cast<double>(phase.calibration.refTemperature)),
        phase.temperatureFactors > 0 ? fmt::format("{} of 3 fitted", phase.temperatureFactors)
                                     : "not fitted");
}

std::string table(const FrequencyResult& result) {
    const PhaseFit& phase = result.phase;
    const auto& wiggling = phase.calibration.phaseWigg;
    const auto& amplitude = phase.calibration.ampWigg;
    std::string html = "<table><tr><th>parameter</th><th>value</th><th>standard error</th></tr>\n";
    html += row("phaseWigg[0], phase at distance 0",
                fmt::format("{:.5f} rad", static_cast<double>(wiggling[0])), "");
    html +=
        harmonicRow("phaseWigg, harmonic 2", wiggling[3], wiggling[4], phase.phaseErrors[3], 1000.0, "mrad");
    html +=
        harmonicRow("phaseWigg, harmonic 4", wiggling[1], wiggling[2], phase.phaseErrors[1], 1000.0, "mrad");
    html +=
        harmonicRow("phaseWigg, harmonic 8", wiggling[5], wiggling[6], phase.phaseErrors[5], 1000.0, "mrad");
    html += harmonicRow("ampWigg, harmonic 2", amplitude[3], amplitude[4], result.amplitude.errors[3], 100.0,
                        "%");
    html += harmonicRow("ampWigg, harmonic 4", amplitude[1], amplitude[2], result.amplitude.errors[1], 100.0,
                        "%");
    html += row("xyCorrection",
                fmt::format("{:.3f}, {:.3f} counts", static_cast<double>(phase.calibration.xyCorrection[0]),
                            static_cast<double>(phase.calibration.xyCorrection[1])),
                fmt::format("{:.3f}, {:.3f} counts", phase.offsetErrors[0], phase.offsetErrors[1]));
    html += temperatureRow(phase);
    html +=
        row("read noise of a sample",
            result.noise.isMeasured ? fmt::format("{:.2f} counts", result.noise.readNoise()) : "not measured",
            "");
    return html + "</table>\n";
}

std::string section(const FrequencyResult& result, std::size_t scenes) {
    const simulation::FrequencyCalibration& calibration = result.phase.calibration;
    const double millimetres = 1000.0 * metresPerRadian(calibration);
    std::string html = fmt::format(
        "<h2>{:g} MHz</h2>\n<p>Error of the distance, half of the pixels and 99 % of them below: "
        "<b>before</b> {:.2f} and "
        "{:.2f} mm, <b>after</b> {:.2f} and {:.2f} mm. Before is a calibration with the phase at distance 0 "
        "alone. {} "
        "pixels of recordings, {} outliers; shown phases cover {:.0f} % of a turn.</p>\n",
        static_cast<double>(calibration.frequency) / 1.0e6, result.before.median, result.before.percentile99,
        result.after.median, result.after.percentile99, result.phase.rows, result.phase.outliers,
        100.0 * result.coverage);
    html += table(result);
    for (const Plot& plot : {phasePlot(result, millimetres), scenePlot(result, scenes, millimetres),
                             amplitudePlot(result), noisePlot(result.noise)}) {
        html += svgOf(plot) + "\n";
    }
    std::vector<float> pattern;
    pattern.reserve(calibration.FPPN.size());
    for (const float value : calibration.FPPN) {
        pattern.push_back(static_cast<float>(millimetres) * value);
    }
    std::vector<float> sizes;
    sizes.reserve(pattern.size());
    for (const float value : pattern) {
        sizes.push_back(std::abs(value));
    }
    std::ranges::sort(sizes);
    const double limit = std::max(static_cast<double>(sizes[sizes.size() * 98 / 100]), 1.0e-3);
    return html + svgOfImage("Fixed pattern of the phase (FPPN)", pattern, limit, "mm") + "\n";
}

std::string list(const std::vector<std::string>& lines, const char* tag) {
    std::string html = fmt::format("<{}>\n", tag);
    for (const std::string& line : lines) {
        html += "<li>" + texts::escaped(line) + "</li>\n";
    }
    return html + fmt::format("</{}>\n", tag);
}

std::string badPixelList(const Specimen& specimen) {
    std::vector<std::string> lines;
    constexpr std::size_t most = 100;
    for (std::size_t k = 0; k < std::min(specimen.badPixels.size(), most); ++k) {
        const BadPixel& bad = specimen.badPixels[k];
        lines.push_back(fmt::format("{} (row {}, column {}): {}", bad.index,
                                    bad.index / simulation::imageWidth, bad.index % simulation::imageWidth,
                                    bad.reason));
    }
    if (specimen.badPixels.size() > most) {
        lines.push_back(fmt::format("and {} more", specimen.badPixels.size() - most));
    }
    return lines.empty() ? "<p>None.</p>\n" : list(lines, "ul");
}

constexpr const char* style =
    "body{font:15px/1.45 system-ui,sans-serif;max-width:1120px;margin:2em auto;padding:0 1em;color:#1c1917}"
    "table{border-collapse:collapse;margin:1em 0}td,th{border:1px solid #d6d3d1;padding:.25em "
    ".7em;text-align:left}"
    "svg{margin:.5em 1em .5em 0;font:11px system-ui,sans-serif;vertical-align:top;max-width:100%;height:auto}"
    "svg .title{font-size:13px;font-weight:600}.grid{stroke:#e7e5e4;fill:none}";

}  // namespace

std::string residualPage(const Specimen& specimen) {
    std::string html =
        std::string(
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\"><title>Calibration"
            "</title>\n<meta name=\"viewport\" content=\"width=device-width\"><style>") +
        style + "</style></head>\n<body>\n<h1>Calibration of a camera</h1>\n";
    if (!specimen.findings.empty()) {
        html += "<h2>What these recordings do not tell</h2>\n" + list(specimen.findings, "ul");
    }
    for (const FrequencyResult& result : specimen.frequencies) {
        html += section(result, specimen.scenes.size());
    }
    html += "<h2>Bad pixels</h2>\n" + badPixelList(specimen);
    html += "<h2>Recordings</h2>\n" + list(specimen.scenes, "ol");
    return html + "</body>\n</html>\n";
}

}  // namespace calibrating
