// SPDX-License-Identifier: Apache-2.0

#include "qor/FigureCondition.h"

#include <fmt/format.h>

#include <algorithm>

#include "qor/Arguments.h"

namespace qor {
namespace {

const figures::Figure* figureOf(const std::string& expression, const std::vector<RegionFigures>& all) {
    const std::size_t dot = expression.find('.');
    const std::string region = dot == std::string::npos ? "" : expression.substr(0, dot);
    const std::string name = dot == std::string::npos ? expression : expression.substr(dot + 1);
    for (const RegionFigures& part : all) {
        const auto found =
            std::find_if(part.figures.begin(), part.figures.end(),
                         [&name](const figures::Figure& figure) { return figure.name == name; });
        if (part.region == region && found != part.figures.end()) {
            return &*found;
        }
    }
    return nullptr;
}

}  // namespace

std::string Verdict::sentence() const {
    return value ? fmt::format("--fail-if {}: it is {:.7g}.", condition, *value)
                 : fmt::format("--fail-if {}: it was not measured.", condition);
}

std::string checkFigureCondition(const std::string& text, const std::vector<RegionFigures>& known) {
    const std::optional<Condition> condition = readCondition(text);
    if (!condition) {
        return fmt::format("\"{}\" is no condition; write for example \"rms_mm > 5\".", text);
    }
    if (figureOf(condition->expression, known) != nullptr) {
        return "";
    }
    std::vector<std::string> names;
    for (const figures::Figure& figure : known.front().figures) {
        names.push_back(figure.name);
    }
    return fmt::format("\"{}\" is no figure, nor that of a region; figures are {}.", condition->expression,
                       joined(names, ", "));
}

Verdict judge(const std::string& text, const std::vector<RegionFigures>& measured) {
    const Condition condition = readCondition(text).value();
    const figures::Figure* const figure = figureOf(condition.expression, measured);
    Verdict verdict{text, figure == nullptr ? std::nullopt : figure->value, false};
    verdict.failed = !verdict.value || condition.isMetBy(*verdict.value);
    return verdict;
}

}  // namespace qor
