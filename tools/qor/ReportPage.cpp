// SPDX-License-Identifier: Apache-2.0

#include "qor/ReportPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "imaging/Plot.h"
#include "page/Encoding.h"
#include "qor/Arguments.h"
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
.report .finding{color:#b3261e}.report .note{margin-top:18px;color:#5a6472}
.report svg{display:block;margin:10px 0}.report svg text{fill:currentColor;font-size:11px}.report svg .title{font-weight:600}
.report .grid{stroke:#8885;fill:none}.report .settings td{text-align:left}
@media (prefers-color-scheme:dark){.report .finding{color:#ff8a80}.report .note{color:#a0aab8}}
@page{size:A4;margin:14mm}
@media print{.report{max-width:none;padding:0;color:#000;background:#fff}.report pre{max-height:none;overflow:visible;white-space:pre-wrap}
.report h2,.report h3{break-after:avoid}.report tr,.report svg{break-inside:avoid}.report details:not([open]){display:none}}
</style>
)";

std::string imageOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("The picture " + file.string() + " cannot be read.");
    }
    const std::vector<std::uint8_t> bytes(std::istreambuf_iterator<char>(stream), {});
    const std::string name = file.stem().string();
    return "<img alt=\"" + escaped(name) + "\" src=\"data:image/png;base64," + page::base64(bytes) + "\">\n";
}

const char* unitText(figures::Unit unit) {
    switch (unit) {
        case figures::Unit::Millimetres:
            return "mm";
        case figures::Unit::Percent:
            return "%";
        case figures::Unit::Pixels:
            return "pixels";
        case figures::Unit::Milliseconds:
            return "ms";
        default:
            return "";
    }
}

std::string figuresText(const std::vector<figures::Figure>& figures) {
    std::string rows;
    for (const figures::Figure& figure : figures) {
        rows += "<tr><th scope=\"row\"><code>" + escaped(figure.name) + "</code></th><td>" +
                valueText(figure) + "</td><td>" + unitText(figure.unit) + "</td></tr>\n";
    }
    return "<table class=\"figures\"><tbody>\n" + rows +
           "</tbody></table>\n<p>The figures are those of <code>qor metrics</code>; docs/figures.md has the "
           "formula of each.</p>\n";
}

const char* const blue = "#1f6fd6";
const char* const orange = "#c2562d";

// Error against the truth by raw amplitude: its mean, and the deviation about it as bars.
std::string errorPlot(const figures::AccuracySummary& accuracy) {
    imaging::PlotSeries series{"mean error and its deviation", blue, {}, true, true};
    for (const figures::AmplitudeBin& bin : accuracy.bins) {
        const double middle = std::sqrt(std::max(bin.from, 1.0) * std::max(bin.to, 1.0));
        const double bias = 1000.0 * bin.bias;
        const double deviation = 1000.0 * bin.deviation;
        series.points.push_back({middle, bias, bias - deviation, bias + deviation});
    }
    if (series.points.size() < 2) {
        return "";
    }
    return imaging::svgOf({"Error by raw amplitude", "raw amplitude, counts", "error, mm", {series}, true});
}

// Noise from frame to frame by amplitude, measured and as the pipeline predicts it.
std::string noiseText(const std::vector<figures::NoiseRow>& rows) {
    if (rows.empty()) {
        return "";
    }
    imaging::PlotSeries measured{"measured", blue, {}, false, true};
    imaging::PlotSeries predicted{"predicted", orange, {}, false, true};
    std::string text =
        "<h3>Noise by amplitude, from frame to frame</h3>\n<table><thead><tr><th>counts per µs</th>"
        "<th>pairs</th><th>measured, mm</th><th>predicted, mm</th><th>ratio</th></tr></thead><tbody>\n";
    for (const figures::NoiseRow& row : rows) {
        text += fmt::format(
            "<tr><td>{:g} – {:g}</td><td>{}</td><td>{:.3f}</td><td>{:.3f}</td><td>{:.3f}</td></tr>\n",
            row.from, row.to, row.pairs, 1000.0 * row.measured, 1000.0 * row.predicted, row.ratio());
        const double middle = std::sqrt(row.from * row.to);
        measured.points.push_back({middle, 1000.0 * row.measured});
        predicted.points.push_back({middle, 1000.0 * row.predicted});
    }
    text += "</tbody></table>\n";
    return rows.size() < 2 ? text
                           : text + imaging::svgOf({"Noise by amplitude",
                                                    "amplitude, counts per µs",
                                                    "noise, mm",
                                                    {measured, predicted},
                                                    true,
                                                    true});
}

std::string sceneText(const ReportedScene& scene) {
    const SceneProducts& products = scene.products;
    std::string text = fmt::format("<h3>Frames {} to {}</h3>\n", products.firstFrame(), products.lastFrame());
    if (products.simulation()) {
        text += "<p>" + escaped(describe(*products.simulation())) + "</p>\n";
    }
    text += figuresText(scene.figures.figures);
    if (const auto accuracy = products.accuracy()) {
        text += errorPlot(*accuracy);
    } else {
        text += "<p>No errors: no truth is known.</p>\n";
    }
    return text + noiseText(scene.figures.noise);
}

std::string changesText(const ReportedRun& run) {
    std::string text = "<h3>Settings that differ from the defaults</h3>\n";
    if (!run.tellsSettings) {
        text += "<p>The file tells none.</p>\n";
    } else if (run.changes.empty()) {
        text += "<p>None.</p>\n";
    } else {
        text +=
            "<table class=\"settings\"><thead><tr><th>setting</th><th>value</th><th>default</th><th></th>"
            "</tr></thead><tbody>\n";
        for (const ReportedSetting& change : run.changes) {
            text += "<tr><td><code>" + escaped(change.expression) + "</code></td><td>" +
                    escaped(change.value) + "</td><td>" +
                    (change.standard.empty() ? "–" : escaped(change.standard)) + "</td><td>" +
                    (change.isOfRun ? "changed for this run" : "") + "</td></tr>\n";
        }
        text += "</tbody></table>\n<p>The defaults are those of the simulated camera.</p>\n";
    }
    return run.settings.empty() ? text
                                : text + "<details><summary>All settings</summary><pre>" +
                                      escaped(run.settings) + "</pre></details>\n";
}

std::string exposuresText(const ReportedRun& run) {
    if (run.exposures.empty()) {
        return "";
    }
    const std::string text = "<h3>Exposure times</h3>\n";
    const bool areConstant = std::ranges::all_of(
        run.exposures, [&run](const std::vector<double>& times) { return times == run.exposures.front(); });
    if (areConstant) {
        return text + fmt::format("<p>{} µs in each frame</p>\n", fmt::join(run.exposures.front(), ", "));
    }
    const char* const colors[] = {blue, orange, "#3a8f5c", "#8a5cc2"};
    imaging::Plot plot{"Exposure times", "frame", "microseconds", {}};
    for (std::size_t k = 0; k < std::size(colors); ++k) {
        imaging::PlotSeries series{fmt::format("exposure {}", k + 1), colors[k], {}, false, true};
        for (std::size_t frame = 0; frame < run.exposures.size(); ++frame) {
            if (k < run.exposures[frame].size()) {
                series.points.push_back({static_cast<double>(frame), run.exposures[frame][k]});
            }
        }
        if (!series.points.empty()) {
            plot.series.push_back(std::move(series));
        }
    }
    return text + imaging::svgOf(plot);
}

std::string runText(const ReportedRun& run) {
    std::string text = "<h2>" + escaped(run.file) + "</h2>\n<p>" + escaped(run.origin) +
                       fmt::format(", {} packets</p>\n", run.packets);
    text += changesText(run);
    for (const ReportedScene& scene : run.scenes) {
        text += sceneText(scene);
    }
    for (const ReportedFrame& frame : run.frames) {
        text += fmt::format("<h3>Frame {}</h3>\n<div class=\"strip\">\n", frame.number);
        for (const std::filesystem::path& picture : frame.pictures) {
            text += imageOf(picture);
        }
        text += "</div>\n";
    }
    if (run.leftFrames > 0) {
        text += fmt::format("<p>The pictures of {} did not fit the page.</p>\n",
                            counted(run.leftFrames, "more frame"));
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

std::string reportPart(const std::vector<ReportedRun>& runs, const std::vector<std::string>& notes) {
    std::string text = style;
    text += "<article class=\"report\">\n<h1>Report</h1>\n";
    for (const ReportedRun& run : runs) {
        text += runText(run);
    }
    for (const std::string& note : notes) {
        text += "<p class=\"note\">" + escaped(note) + "</p>\n";
    }
    return text + "</article>\n";
}

}  // namespace qor
