// SPDX-License-Identifier: Apache-2.0

#include "recording/Enumerators.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "recording/Record.h"

namespace recording {
namespace {

constexpr std::array temporalFilters{Enumerator{0, "none", "TempFilter_None"},
                                     Enumerator{1, "mean", "TempFilter_Mean"},
                                     Enumerator{2, "adaptiveExponential", "TempFilter_AdaptiveExponential"}};
constexpr std::array spatialFilters{
    Enumerator{0, "none", "SpatialFilter_None"}, Enumerator{1, "median", "SpatialFilter_Median"},
    Enumerator{2, "mean", "SpatialFilter_Mean"}, Enumerator{3, "bilateral", "SpatialFilter_Bilateral"}};
constexpr std::array maskSizes{Enumerator{0, "3x3", "FilterMaskSize_3x3"},
                               Enumerator{1, "5x5", "FilterMaskSize_5x5"}};
constexpr std::array autoExposureModes{Enumerator{0, "off", "AutoExposureApplyMode_Off"},
                                       Enumerator{1, "normal", "AutoExposureApplyMode_Normal"},
                                       Enumerator{2, "roiExpansion", "AutoExposureApplyMode_ROIExpansion"}};
constexpr std::array autoExposureRegions{
    Enumerator{0, "rois", "AutoExposureROIType_ROIs"},
    Enumerator{1, "referencePoint", "AutoExposureROIType_ReferencePoint"}};
constexpr std::array regionTypes{
    Enumerator{0, "invalid", "ROITypeInvalid"}, Enumerator{1, "ellipse", "ROITypeEllipse"},
    Enumerator{2, "rectangle", "ROITypeRectangle"}, Enumerator{3, "polygon", "ROITypePolygon"}};
constexpr std::array switchValues{Enumerator{0, "false", "off"}, Enumerator{1, "true", "on"}};

// A member is known by the last names of its expression.
struct NamedMember {
    std::string_view ending;
    std::span<const Enumerator> values;
};

constexpr std::array namedMembers{
    NamedMember{".temporalFilter", temporalFilters},
    NamedMember{".spatialFilter", spatialFilters},
    NamedMember{".maskSize", maskSizes},
    NamedMember{".applyAutoExposure", autoExposureModes},
    NamedMember{".roiSettings.type", autoExposureRegions},
    NamedMember{".ROIs.type", regionTypes},
};

constexpr std::array<std::string_view, 9> switches{
    ".disableCalcCartesian",        ".filter2FreqAssignment", ".enableStraylightCorrection",
    ".enableNoiseEstimation",       ".applyDistanceFilter",   ".applyAmplitudeFilter",
    ".compensateAmbientLightDrift", ".verticalAssignment",    ".intensityMeasurement"};

std::string withoutIndices(std::string_view expression) {
    std::string text;
    bool inside = false;
    for (const char letter : expression) {
        inside = inside || letter == '[';
        if (!inside) {
            text += letter;
        }
        inside = inside && letter != ']';
    }
    return text;
}

// Records of other makers may use the same words for something else.
bool isOfTheAlgorithm(std::string_view expression) {
    return expression.starts_with("QorDistanceImage");
}

bool sameLetters(std::string_view left, std::string_view right) {
    const auto small = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](char a, char b) { return small(a) == small(b); });
}

bool beginsLikeANumber(std::string_view text) {
    return !text.empty() &&
           (std::isdigit(static_cast<unsigned char>(text[0])) != 0 || text[0] == '-' || text[0] == '.');
}

std::string listOf(std::span<const Enumerator> values) {
    std::string text;
    for (const Enumerator& value : values) {
        text += (text.empty() ? "" : ", ") + std::string(value.name);
    }
    return text;
}

std::string withNumber(std::string_view expression, std::span<const Enumerator> values,
                       std::string_view text) {
    for (const Enumerator& value : values) {
        if (sameLetters(text, value.name) || sameLetters(text, value.fullName)) {
            return std::to_string(value.value);
        }
    }
    if (!beginsLikeANumber(text)) {
        throw RecordError("\"" + std::string(text) + "\" is no value for \"" + std::string(expression) +
                          "\", which is one of " + listOf(values) + ".");
    }
    return std::string(text);
}

}  // namespace

bool isSwitch(std::string_view expression) {
    const std::string path = withoutIndices(expression);
    return isOfTheAlgorithm(path) &&
           std::any_of(switches.begin(), switches.end(),
                       [&](std::string_view ending) { return path.ends_with(ending); });
}

std::span<const Enumerator> enumeratorsOf(std::string_view expression) {
    const std::string path = withoutIndices(expression);
    if (!isOfTheAlgorithm(path)) {
        return {};
    }
    for (const NamedMember& member : namedMembers) {
        if (path.ends_with(member.ending)) {
            return member.values;
        }
    }
    return {};
}

std::optional<std::string_view> enumeratorName(std::string_view expression, long long value) {
    for (const Enumerator& enumerator : enumeratorsOf(expression)) {
        if (enumerator.value == value) {
            return enumerator.name;
        }
    }
    return std::nullopt;
}

std::string withNumbers(std::string_view expression, std::string_view values) {
    std::span<const Enumerator> names = enumeratorsOf(expression);
    if (names.empty() && isSwitch(expression)) {
        names = switchValues;
    }
    if (names.empty()) {
        return std::string(values);
    }
    std::string text;
    while (true) {
        const std::size_t comma = values.find(',');
        text += withNumber(expression, names, values.substr(0, comma));
        if (comma == std::string_view::npos) {
            return text;
        }
        text += ',';
        values.remove_prefix(comma + 1);
    }
}

}  // namespace recording
