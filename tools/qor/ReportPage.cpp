// SPDX-License-Identifier: Apache-2.0

#include "qor/ReportPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>

#include "page/Encoding.h"
#include "qor/Report.h"
#include "texts/Markup.h"

namespace qor {
namespace {

using texts::escaped;

constexpr const char* style = R"(<style>
.report{max-width:190mm;margin:0 auto;padding:24px 16px;font:13px/1.45 system-ui,"Segoe UI","Noto Sans",Arial,sans-serif;
font-variant-numeric:tabular-nums}
.report h1{font-size:20px;margin:0 0 4px}.report h2{font-size:16px;margin:28px 0 8px;border-bottom:1px solid #8886;padding-bottom:3px}
.report h3{font-size:13px;margin:18px 0 6px}.report p{margin:4px 0}
.report table{border-collapse:collapse;margin:4px 0}.report th,.report td{text-align:right;padding:2px 12px 2px 0}
.report th:first-child,.report td:first-child{text-align:left}.report thead th{border-bottom:1px solid #8886;font-weight:600}
.report tbody th{font-weight:400}.report code,.report pre{font:11px/1.4 ui-monospace,"DejaVu Sans Mono",Consolas,monospace}
.report pre{max-height:20em;overflow:auto;background:#8881;padding:8px}
.report .strip{display:grid;grid-template-columns:repeat(3,1fr);gap:6px;break-inside:avoid}
.report .strip img{width:100%;display:block}.report svg{max-width:100%;height:auto}
.report .finding{color:#b3261e}.report svg text{fill:currentColor;font-size:10px}
@media (prefers-color-scheme:dark){.report .finding{color:#ff8a80}}
@page{size:A4;margin:14mm}
@media print{.report{max-width:none;padding:0;color:#000;background:#fff}.report pre{max-height:none;overflow:visible;white-space:pre-wrap}
.report h2,.report h3{break-after:avoid}.report tr,.report svg{break-inside:avoid}.report details:not([open]){display:none}}
</style>
)";

std::string millimetres(const std::optional<double>& metres) {
    return metres ? fmt::format("{:.2f}", 1000.0 * *metres) : "–";
}

std::string percent(const std::optional<double>& share) {
    return share ? fmt::format("{:.2f}", 100.0 * *share) : "–";
}

std::string row(const std::string& name, const std::string& value, const std::string& unit) {
    return "<tr><th scope=\"row\">" + name + "</th><td>" + value + "</td><td>" + unit + "</td></tr>\n";
}

struct Line {
    std::string name;
    std::string color;
    std::vector<std::pair<double, double>> points;
};

/** Places of a value on an axis of so many units; logarithmic or not. */
struct Axis {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    bool logarithmic = false;

    double scaled(double value) const { return logarithmic ? std::log10(value) : value; }
    void take(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    void widen() {
        if (!(high > low)) {
            const double half = std::max(0.05 * std::abs(high), logarithmic ? 0.5 * high : 0.5);
            low -= half;
            high += half;
        }
    }
    double share(double value) const { return (scaled(value) - scaled(low)) / (scaled(high) - scaled(low)); }
};

std::string chart(const std::vector<Line>& lines, const std::string& acrossName, const std::string& upName,
                  bool logarithmic) {
    constexpr double width = 560.0;
    constexpr double height = 200.0;
    constexpr double left = 64.0;
    constexpr double bottom = 34.0;
    Axis across;
    Axis up;
    across.logarithmic = up.logarithmic = logarithmic;
    for (const Line& line : lines) {
        for (const auto& [x, y] : line.points) {
            across.take(x);
            up.take(y);
        }
    }
    across.widen();
    up.widen();
    const auto atX = [&](double x) { return left + (width - left - 110.0) * across.share(x); };
    const auto atY = [&](double y) { return 8.0 + (height - bottom - 8.0) * (1.0 - up.share(y)); };
    std::string svg =
        fmt::format("<svg viewBox=\"0 0 {} {}\" width=\"{}\" role=\"img\" aria-label=\"{} over {}\">\n",
                    width, height, width, escaped(upName), escaped(acrossName));
    for (const double y : {up.low, up.high}) {
        svg += fmt::format(
            "<path d=\"M{} {:.1f}H{}\" stroke=\"#8886\" fill=\"none\"/><text x=\"{}\" y=\"{:.1f}\" "
            "text-anchor=\"end\">{:.4g}</text>\n",
            left, atY(y), width - 110.0, left - 6.0, atY(y) + 3.0, y);
    }
    for (const double x : {across.low, across.high}) {
        svg += fmt::format("<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{:.4g}</text>\n", atX(x),
                           height - 20.0, x);
    }
    svg += fmt::format("<text x=\"{}\" y=\"{}\">{} over {}</text>\n", left, height - 4.0, escaped(upName),
                       escaped(acrossName));
    double legend = 18.0;
    for (const Line& line : lines) {
        std::string path;
        for (const auto& [x, y] : line.points) {
            path += fmt::format("{}{:.1f} {:.1f}", path.empty() ? "M" : "L", atX(x), atY(y));
            svg += fmt::format("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2.2\" fill=\"{}\"/>", atX(x), atY(y),
                               line.color);
        }
        svg += fmt::format("<path d=\"{}\" stroke=\"{}\" fill=\"none\" stroke-width=\"1.5\"/>\n", path,
                           line.color);
        svg += fmt::format(
            "<rect x=\"{}\" y=\"{}\" width=\"9\" height=\"9\" fill=\"{}\"/><text x=\"{}\" "
            "y=\"{}\">{}</text>\n",
            width - 100.0, legend - 8.0, line.color, width - 86.0, legend, escaped(line.name));
        legend += 16.0;
    }
    return svg + "</svg>\n";
}

std::string imageOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("The picture " + file.string() + " cannot be read.");
    }
    const std::vector<std::uint8_t> bytes(std::istreambuf_iterator<char>(stream), {});
    const std::string name = file.stem().string();
    return "<img alt=\"" + escaped(name) + "\" src=\"data:image/png;base64," + page::base64(bytes) + "\">\n";
}

std::string accuracyRows(const figures::AccuracySummary& accuracy) {
    return row("Median of the absolute error", millimetres(accuracy.medianError), "mm") +
           row("99 percent away from edges are no worse than", millimetres(accuracy.percentile99Error),
               "mm") +
           row("Mean error away from edges", millimetres(accuracy.meanError), "mm") +
           row("Root mean square error", millimetres(accuracy.rmsError), "mm") +
           row("Wrong unique range", percent(accuracy.wrongWrapShare), "% of the judged");
}

// By raw amplitude: a table and the curves of it.
std::string noiseBySignal(const figures::AccuracySummary& accuracy, bool isPredicted) {
    Line measured{"measured", "#1f6fd6", {}};
    Line predicted{"predicted", "#c2562d", {}};
    std::string rows;
    for (const figures::AmplitudeBin& bin : accuracy.bins) {
        rows +=
            fmt::format("<tr><td>{:.0f} – {:.0f}</td><td>{}</td><td>{:.2f}</td><td>{}</td><td>{}</td></tr>\n",
                        bin.from, bin.to, bin.pixels, 1000.0 * bin.bias, millimetres(bin.measured),
                        isPredicted ? millimetres(bin.predicted) : "–");
        const double middle = std::sqrt(std::max(bin.from, 1.0) * std::max(bin.to, 1.0));
        if (bin.measured.value_or(0.0) > 0.0 && std::isfinite(middle)) {
            measured.points.emplace_back(middle, 1000.0 * *bin.measured);
        }
        if (isPredicted && bin.predicted.value_or(0.0) > 0.0 && std::isfinite(middle)) {
            predicted.points.emplace_back(middle, 1000.0 * *bin.predicted);
        }
    }
    if (rows.empty()) {
        return "";
    }
    std::string text =
        "<h3>Noise by raw amplitude</h3>\n<table><thead><tr><th>counts</th><th>pixels</th><th>bias, mm</th>"
        "<th>noise, mm</th><th>predicted, mm</th></tr></thead><tbody>\n" +
        rows + "</tbody></table>\n";
    std::vector<Line> lines;
    for (Line& line : std::vector<Line>{measured, predicted}) {
        if (line.points.size() > 1) {
            lines.push_back(line);
        }
    }
    return lines.empty() ? text : text + chart(lines, "raw amplitude, counts", "noise, mm", true);
}

std::string sceneText(const SceneProducts& scene) {
    const figures::PixelCounts& counts = scene.counts();
    std::string text = fmt::format("<h3>Frames {} to {}</h3>\n", scene.firstFrame(), scene.lastFrame());
    if (scene.simulation()) {
        text += "<p>" + escaped(describe(*scene.simulation())) + "</p>\n";
    }
    const auto accuracy = scene.accuracy();
    const figures::TemporalNoiseSummary temporal = scene.temporalNoise();
    text += "<table><tbody>\n" + row("Finished frames", std::to_string(counts.frames), "") +
            row("Valid pixels", percent(counts.validShare()), "%") +
            row("Usable pixels", percent(counts.shareOf(counts.usable)), "%") +
            row("Saturated", percent(counts.shareOf(counts.saturated)), "%") +
            row("Too dark or too noisy", percent(counts.shareOf(counts.dark)), "%") +
            row("Deviation over frames, median", millimetres(temporal.measured), "mm") +
            row("The pipeline's own estimate of it", millimetres(temporal.delivered), "mm") +
            (accuracy ? accuracyRows(*accuracy) : row("Errors", "–", "no truth in the recording")) +
            "</tbody></table>\n";
    // The sensor predicts the noise of one frequency, and of none without photons.
    const auto& simulation = scene.simulation();
    const bool isPredicted =
        simulation && simulation->frequencies.size() == 1 && simulation->photonNoise.value_or(false);
    return accuracy ? text + noiseBySignal(*accuracy, isPredicted) : text;
}

std::string changesText(const ReportedRun& run) {
    std::string text = "<h3>Settings changed for this run</h3>\n";
    if (run.changes.empty()) {
        text += "<p>None: all are those of the recording.</p>\n";
    } else {
        text += "<table><tbody>\n";
        for (const auto& [expression, value] : run.changes) {
            text +=
                "<tr><td><code>" + escaped(expression) + "</code></td><td>" + escaped(value) + "</td></tr>\n";
        }
        text += "</tbody></table>\n";
    }
    return text + "<details><summary>All settings</summary><pre>" + escaped(run.settings) +
           "</pre></details>\n";
}

std::string exposuresText(const ReportedRun& run) {
    if (run.exposures.empty()) {
        return "";
    }
    std::vector<Line> lines;
    const char* const colors[] = {"#1f6fd6", "#c2562d", "#3a8f5c", "#8a5cc2"};
    for (std::size_t k = 0; k < std::size(colors); ++k) {
        Line line{fmt::format("exposure {}", k + 1), colors[k], {}};
        for (std::size_t frame = 0; frame < run.exposures.size(); ++frame) {
            if (k < run.exposures[frame].size()) {
                line.points.emplace_back(static_cast<double>(frame), run.exposures[frame][k]);
            }
        }
        if (!line.points.empty()) {
            lines.push_back(std::move(line));
        }
    }
    std::string text = "<h3>Exposure times</h3>\n";
    if (run.exposures.size() > 1) {
        return text + chart(lines, "frame", "microseconds", false);
    }
    return text + fmt::format("<p>{} µs</p>\n", fmt::join(run.exposures.front(), ", "));
}

std::string runText(const ReportedRun& run) {
    std::string text = "<h2>" + escaped(run.recording) + "</h2>\n<p>" + escaped(run.plugin) +
                       fmt::format(", {} packets</p>\n", run.packets);
    text += changesText(run);
    for (const SceneProducts& scene : run.scenes) {
        text += sceneText(scene);
    }
    for (const ReportedFrame& frame : run.frames) {
        text += fmt::format("<h3>Frame {}</h3>\n<div class=\"strip\">\n", frame.number);
        for (const std::filesystem::path& picture : frame.pictures) {
            text += imageOf(picture);
        }
        text += "</div>\n";
    }
    text += exposuresText(run) + "<h3>Findings</h3>\n";
    if (run.findings.empty()) {
        return text + "<p>None.</p>\n";
    }
    for (const std::string& finding : run.findings) {
        text += "<p class=\"finding\">" + escaped(finding) + "</p>\n";
    }
    return text;
}

}  // namespace

std::string reportPart(const std::vector<ReportedRun>& runs) {
    std::string text = style;
    text += "<article class=\"report\">\n<h1>Report</h1>\n";
    for (const ReportedRun& run : runs) {
        text += runText(run);
    }
    return text + "</article>\n";
}

}  // namespace qor
