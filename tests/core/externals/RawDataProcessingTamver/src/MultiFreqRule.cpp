// SPDX-License-Identifier: Apache-2.0
#include "MultiFreqRule.h"

#include <cmath>

namespace rule {

namespace {

/** v cut to an integer; none outside 0 to 99, and none of NaN. */
bool binAt(float v, int& bin) {
    const double cut = std::trunc(static_cast<double>(v));
    if (!(cut >= 0.0 && cut <= 99.0)) {
        return false;
    }
    bin = static_cast<int>(cut);
    return true;
}

struct Line {
    float abscissa;
    float offset;
    int index;
    bool close;  ///< close enough to the line
};

/** The line of a pair of distances. False where there is no bin; that of NaN is the first. */
bool lineOf(const TwoFreqLUT& lut, float lineDistPercentage, float delta, Line& line) {
    const float threshold = lineDistPercentage * (lut.halfLineDist * 0.01F);
    const float invLutRes = 1.0F / lut.lutResolution;
    const float position = 0.5F + (delta + lut.lutOffset) * invLutRes;
    int bin = 0;
    if (!std::isnan(position) && !binAt(position, bin)) {
        return false;
    }
    const float lineDist = std::fabs(delta - lut.abscissa[bin]);
    line = {lut.abscissa[bin], lut.offset[bin], lut.lineIndices[bin],
            lut.offset[bin] != -1.0F && threshold > lineDist};
    return true;
}

/** Brings the value into the range of the pair, or makes the pixel invalid. */
void storeInRange(const TwoFreqLUT& lut, float range, float value, float& distance, uint16_t& confidence) {
    if (lut.autoMaxRange == 0) {
        if (value < 0.0F || value > range) {
            confidence |= 0x0021;
            distance = 0.0F;
            return;
        }
    } else if (value < 0.0F) {
        value = value + range;
    } else if (value > range) {
        value = value - range;
    }
    distance = value;
}

}  // namespace

bool frequencyRatio(float UR1, float UR2, float& x, float& halfLineDist, float& maxRange) {
    const float diff = std::fabs(UR2 - UR1);
    const float inv = 1.0F / diff;
    float big = UR1;
    float small = UR2;
    if (UR2 > UR1) {
        big = UR2;
        small = UR1;
    }
    const float a = big * inv;
    const float b = small * inv;
    x = 0.0F;
    for (int i = 1; i < 10; ++i) {
        const float ai = a * static_cast<float>(i);
        const float bi = b * static_cast<float>(i);
        if (std::fabs(std::trunc(ai + 0.5F) - ai) < 0.05F && std::fabs(std::trunc(bi + 0.5F) - bi) < 0.05F) {
            x = static_cast<float>(i);
            break;
        }
    }
    if (x <= 0.0F) {
        return false;
    }
    halfLineDist = diff / (x + x);
    const float ratio = big / small;
    maxRange = ((ratio * x) / (ratio - 1.0F)) * small;
    return halfLineDist > 0.0F;
}

bool twoFreqTable(float UR1, float UR2, float& maxRange, float halfLineDist, TwoFreqLUT& lut) {
    lut.autoMaxRange = 0;
    lut.lutOffset = UR2;
    lut.lutResolution = (UR1 + UR2) * 0.01010101F;
    for (float& offset : lut.offset) {
        offset = -1.0F;
    }
    if (maxRange < 0.0F) {
        float x = 0.0F;
        lut.autoMaxRange = 1;
        if (!frequencyRatio(UR1, UR2, x, lut.halfLineDist, maxRange)) {
            return false;
        }
    }
    int nUR = 0;
    float realDist = 0.0F;
    float d1 = 0.0F;
    float d2 = 0.0F;
    while (realDist <= maxRange * 0.99F) {
        const float delta1 = UR1 - d1;
        const float delta2 = UR2 - d2;
        int bin = 0;
        if (!binAt(((d1 - d2) + lut.lutOffset) / lut.lutResolution + 0.5F, bin)) {
            return false;
        }
        lut.offset[bin] = static_cast<float>(nUR) * UR1;
        lut.abscissa[bin] = d1 - d2;
        if (delta1 < delta2) {
            realDist += delta1;
            d2 += delta1;
            d1 = 0.0F;
            ++nUR;
        } else {
            realDist += delta2;
            d1 += delta2;
            d2 = 0.0F;
        }
    }
    if (lut.offset[0] != -1.0F || lut.offset[99] != -1.0F) {
        return false;
    }
    lut.offset[0] = 0.0F;
    lut.abscissa[0] = -UR2;
    if (lut.autoMaxRange != 0) {
        lut.abscissa[99] = UR1;
        lut.offset[99] = maxRange - UR1;
    }
    if (halfLineDist > 0.0F) {
        lut.halfLineDist = halfLineDist;
    } else {
        int count = 0;
        int best = 100;
        for (int k = 1; k <= 99; ++k) {
            ++count;
            if (lut.offset[k] != -1.0F) {
                best = count < best ? count : best;
                count = 0;
            }
        }
        if (count != 0 && count < best) {
            best = count;
        }
        lut.halfLineDist = lut.lutResolution * 0.5F * static_cast<float>(best);
    }
    const int entries = static_cast<int>(lut.halfLineDist / lut.lutResolution + 0.5F);
    int lineIdx = 0;
    int k = 0;
    while (true) {
        const float val = lut.offset[k];
        const float abs = lut.abscissa[k];
        lut.lineIndices[k] = lineIdx;
        lut.offsetLut[lineIdx] = val;
        for (int below = k - 1; below >= k - entries && below >= 0; --below) {
            lut.offset[below] = val;
            lut.abscissa[below] = abs;
            lut.lineIndices[below] = lineIdx;
        }
        for (int above = k + 1; above <= k + entries && above <= 99; ++above) {
            lut.offset[above] = val;
            lut.abscissa[above] = abs;
            lut.lineIndices[above] = lineIdx;
        }
        k = k + entries + 1;
        while (k < 100 && lut.offset[k] == -1.0F) {
            ++k;
        }
        if (k >= 100) {
            return true;
        }
        ++lineIdx;
    }
}

bool assignPair(const TwoFreqLUT& lut, const PairSettings& settings, const PairInput& input, float* distance,
                uint16_t* confidence, int32_t startLine, int32_t endLine) {
    for (int32_t i = startLine * settings.width; i < endLine * settings.width; ++i) {
        confidence[i] = static_cast<uint16_t>(input.previousConfidence[i] | input.currentConfidence[i]);
        const float cur = input.currentDistance[i];
        const float prev = input.previousDistance[i];
        if (cur == 0.0F || prev == 0.0F) {
            distance[i] = 0.0F;
            continue;
        }
        Line line = {};
        if (!lineOf(lut, settings.lineDistPercentage, cur - prev, line)) {
            return false;
        }
        if (!line.close) {
            confidence[i] |= 0x0021;
            distance[i] = 0.0F;
            continue;
        }
        const float onLine = settings.vertical ? cur : ((cur + prev) + line.abscissa) * 0.5F;
        storeInRange(lut, settings.range, onLine + line.offset, distance[i], confidence[i]);
    }
    return true;
}

bool assignPairByVote(const TwoFreqLUT& lut, const PairSettings& settings, const PairInput& input,
                      int32_t* lineIndices, float* distance, uint16_t* confidence, int32_t startLine,
                      int32_t endLine) {
    const int32_t width = settings.width;
    for (int32_t i = startLine * width; i < endLine * width; ++i) {
        confidence[i] = static_cast<uint16_t>(input.previousConfidence[i] | input.currentConfidence[i]);
        lineIndices[i] = -100;
        const float cur = input.currentDistance[i];
        const float prev = input.previousDistance[i];
        if (cur == 0.0F || prev == 0.0F) {
            distance[i] = 0.0F;
            continue;
        }
        Line line = {};
        if (!lineOf(lut, settings.lineDistPercentage, cur - prev, line)) {
            return false;
        }
        if (!line.close) {
            confidence[i] |= 0x0021;
            distance[i] = 0.0F;
            continue;
        }
        lineIndices[i] = line.index;
        distance[i] = settings.vertical ? cur : ((cur + prev) + line.abscissa) * 0.5F;
    }
    for (int32_t y = startLine; y < endLine; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const int32_t p = y * width + x;
            const int32_t own = lineIndices[p];
            int32_t final = own;
            if (x > 0 && y > 0 && x < width - 1 && y < settings.height - 1) {
                int stay = 0;
                int up = 0;
                int down = 0;
                for (int dy = -1; dy <= 1; ++dy) {
                    for (int dx = -1; dx <= 1; ++dx) {
                        if (dx == 0 && dy == 0) {
                            continue;
                        }
                        const int64_t change = int64_t{lineIndices[p + dy * width + dx]} - own;
                        stay += change == 0 ? 1 : 0;
                        up += change == 1 ? 1 : 0;
                        down += change == -1 ? 1 : 0;
                    }
                }
                const int winner = stay > up ? stay : up;
                if (down > winner) {
                    final = own - 1;
                } else if (up > stay) {
                    final = own + 1;
                }
            }
            if ((confidence[p] & 0x0001) == 0) {
                float value = distance[p];
                if (final >= 0 && final <= 99) {
                    value = value + lut.offsetLut[final];
                }
                storeInRange(lut, settings.range, value, distance[p], confidence[p]);
            }
        }
    }
    return true;
}

void combinePairs(const IntermediateRes3Freq& pair0, const IntermediateRes3Freq& pair1, float range,
                  float maxDiff, float* distance, uint16_t* confidence, int32_t first, int32_t last) {
    for (int32_t i = first; i < last; ++i) {
        const float d0 = pair0.distance[i];
        const float d1 = pair1.distance[i];
        confidence[i] = static_cast<uint16_t>(pair0.confidence[i] | pair1.confidence[i]);
        if (d0 != 0.0F && d1 != 0.0F && d0 <= range && d1 <= range && maxDiff > std::fabs(d0 - d1)) {
            distance[i] = d0;
        } else {
            distance[i] = 0.0F;
            confidence[i] |= 0x0401;
        }
    }
}

}  // namespace rule
