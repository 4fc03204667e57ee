// SPDX-License-Identifier: Apache-2.0
//
// Writes the header of the records for hosts in C: fills a template with the declarations as C reads them,
// with the comments that stand at the records and their members. Runs at build time; the layout is the same
// on every target.
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ALLayout.h"
#include "QorDICIRecords.h"
#include "QorDescriptors.h"
#include "QorRecords.h"

namespace {

std::string textOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.str().empty()) {
        throw std::runtime_error("cannot read " + path);
    }
    return text.str();
}

// ---------------------------------------------------------------------------------------------------------------------
// The comments of the declarations

/** By "Record" and "Record.member". */
using Comments = std::map<std::string, std::string>;

/** A member's comment is the one on its line. */
void addMemberComments(const std::string& record, const std::string& body, Comments& comments) {
    static const std::regex member(R"((\w+)(\[[^;]*\])?;\s*///< *([^\n]*))");
    for (std::sregex_iterator found(body.begin(), body.end(), member), end; found != end; ++found) {
        comments[record + "." + (*found)[1].str()] = (*found)[3].str();
    }
}

/** A record's comment ends where its declaration begins. */
std::string commentBefore(const std::string& source, std::size_t declaration) {
    const std::size_t end = source.rfind("*/", declaration);
    if (end == std::string::npos || end + 3 != declaration) {
        return "";
    }
    const std::size_t begin = source.rfind("/**", end);
    return source.substr(begin, end + 2 - begin);
}

void addComments(const std::string& source, Comments& comments) {
    static const std::regex record(R"(struct (\w+) \{([^}]*)\};)");
    for (std::sregex_iterator found(source.begin(), source.end(), record), end; found != end; ++found) {
        const std::string name = (*found)[1].str();
        comments[name] = commentBefore(source, static_cast<std::size_t>(found->position()));
        addMemberComments(name, (*found)[2].str(), comments);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The records in C

/** The type of one element. A text is of char; an enumeration is a signed word. */
template <class T>
std::string typeName() {
    const std::string bits = std::to_string(8 * sizeof(T));
    switch (layout::kindOf<T>()) {
        case layout::Kind::Float:
            return sizeof(T) == 4 ? "float" : "double";
        case layout::Kind::Unsigned:
            return std::string("uint") + bits + "_t";
        case layout::Kind::Signed:
            return sizeof(T) == 1 ? "char" : std::string("int") + bits + "_t";
        default:
            if constexpr (describe::Described<T>) {
                return std::string(describe::kName<T>);
            }
            throw std::logic_error("a record without description");
    }
}

template <class T>
std::string dimensions() {
    if constexpr (std::is_array_v<T>) {
        return std::string("[") + std::to_string(std::extent_v<T>) + "]" +
               dimensions<std::remove_extent_t<T>>();
    } else {
        return "";
    }
}

/** Declares records, each once, after those that it holds. */
class Declarations {
 public:
    explicit Declarations(const Comments& comments) : m_comments(comments) {}

    template <describe::Described Record>
    void add() {
        const std::string name(describe::kName<Record>);
        if (!m_declared.insert(name).second) {
            return;
        }
        std::string body;
        std::string checks;
        describe::forEachMember<Record>([&]<class Member>(const Member& member) {
            using T = typename Member::Type;
            using Element = std::remove_all_extents_t<T>;
            static_assert(!isReference<Element>, "an address means nothing to a host");
            if constexpr (describe::Described<Element>) {
                add<Element>();
            }
            const std::string memberName(member.name);
            body += std::string("    ") + typeName<Element>() + " " + memberName + dimensions<T>() + ";" +
                    commentOf(name + "." + memberName) + "\n";
            checks += std::string("QOR_AT(") + name + ", " + memberName + ", " +
                      std::to_string(member.offset) + ");\n";
        });
        m_text += recordComment(name) + "typedef struct " + name + " {\n" + body + "} " + name + ";\n\n";
        m_checks += std::string("QOR_SIZE(") + name + ", " + std::to_string(sizeof(Record)) + ");\n" + checks;
    }

    std::string text() const {
        return m_text +
               "/* The layout of the wire, on every machine. */\n"
               "#if defined(__cplusplus) && __cplusplus >= 201103L\n"
               "#define QOR_CHECK(condition) static_assert(condition, #condition)\n"
               "#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L\n"
               "#define QOR_CHECK(condition) _Static_assert(condition, #condition)\n"
               "#endif\n"
               "#ifdef QOR_CHECK\n"
               "#define QOR_SIZE(record, size) QOR_CHECK(sizeof(record) == (size))\n"
               "#define QOR_AT(record, member, offset) QOR_CHECK(offsetof(record, member) == (offset))\n" +
               m_checks + "#undef QOR_AT\n#undef QOR_SIZE\n#undef QOR_CHECK\n#endif\n";
    }

    /** What the other header of the hosts declares. */
    void leaveOut(const std::string& record) { m_declared.insert(record); }

 private:
    std::string commentOf(const std::string& key) const {
        const auto found = m_comments.find(key);
        return found != m_comments.end() ? std::string(" /**< ") + found->second + " */" : "";
    }

    std::string recordComment(const std::string& name) const {
        const auto found = m_comments.find(name);
        return found != m_comments.end() && !found->second.empty() ? found->second + "\n" : "";
    }

    const Comments& m_comments;
    std::set<std::string> m_declared;
    std::string m_text;
    std::string m_checks;
};

std::string declarations(const Comments& comments) {
    Declarations declarations(comments);
    declarations.leaveOut("AlgoVersion");
    declarations.add<QorRawPhaseData>();
    declarations.add<QorDistanceImageIFInput>();
    declarations.add<QorDistanceImageIFCalib>();
    declarations.add<QorDICIAuxiliaryParam>();
    declarations.add<QorDICIError>();
    declarations.add<QorDistanceImageIFOutput>();
    return declarations.text();
}

// ---------------------------------------------------------------------------------------------------------------------
// The other places of the template

using Values = std::map<std::string, std::string>;

void addNumbers(Values& values) {
#define QOR_NUMBER(name) values[#name] = std::to_string(name);
    QOR_NUMBER(kImageWidth)
    QOR_NUMBER(kImageHeight)
    QOR_NUMBER(kPixelCount)
    QOR_NUMBER(kRawRowBytes)
    QOR_NUMBER(kRawPhaseBytes)
    QOR_NUMBER(kConfidenceInvalid)
    QOR_NUMBER(kConfidenceSaturated)
    QOR_NUMBER(kConfidenceAsymmetric)
    QOR_NUMBER(kConfidenceLowAmplitude)
    QOR_NUMBER(kConfidenceLastExposure)
    QOR_NUMBER(kConfidenceNoLine)
#undef QOR_NUMBER
#define QOR_CHANNEL(name) values[#name] = std::to_string(channel::name);
    QOR_CHANNEL(kRawData)
    QOR_CHANNEL(kInput)
    QOR_CHANNEL(kResult)
    QOR_CHANNEL(kCalibration)
    QOR_CHANNEL(kError)
    QOR_CHANNEL(kAuxiliary)
    QOR_CHANNEL(kCustomization)
#undef QOR_CHANNEL
}

std::string enumerators() {
    const std::pair<const char*, int> values[] = {
#define QOR_ENUMERATOR(name) {#name, static_cast<int>(name)},
        QOR_ENUMERATOR(TempFilter_None) QOR_ENUMERATOR(TempFilter_Mean)
            QOR_ENUMERATOR(TempFilter_AdaptiveExponential) QOR_ENUMERATOR(SpatialFilter_None)
                QOR_ENUMERATOR(SpatialFilter_Median) QOR_ENUMERATOR(SpatialFilter_Mean)
                    QOR_ENUMERATOR(SpatialFilter_Bilateral) QOR_ENUMERATOR(FilterMaskSize_3x3)
                        QOR_ENUMERATOR(FilterMaskSize_5x5) QOR_ENUMERATOR(ROITypeInvalid)
                            QOR_ENUMERATOR(ROITypeEllipse) QOR_ENUMERATOR(ROITypeRectangle)
                                QOR_ENUMERATOR(ROITypePolygon) QOR_ENUMERATOR(AutoExposureROIType_ROIs)
                                    QOR_ENUMERATOR(AutoExposureROIType_ReferencePoint)
                                        QOR_ENUMERATOR(AutoExposureApplyMode_Off)
                                            QOR_ENUMERATOR(AutoExposureApplyMode_Normal)
                                                QOR_ENUMERATOR(AutoExposureApplyMode_ROIExpansion)
#undef QOR_ENUMERATOR
    };
    // The last enumerator of each list is their number.
    static_assert(std::size(values) == std::size_t{TempFilter_MAX} + SpatialFilter_MAX + FilterMaskSize_MAX +
                                           ROITypeMax + AutoExposureROIType_Max + AutoExposureApplyMode_MAX,
                  "an enumerator has no name for hosts");
    std::string text;
    for (const auto& [name, value] : values) {
        text += (text.empty() ? "    " : ",\n    ") + std::string(name) + " = " + std::to_string(value);
    }
    return text;
}

std::string getters() {
    std::string text;
#define QOR_GETTER(record)                                         \
    text += (text.empty() ? "" : "\n") +                           \
            std::string("QOR_PLUGIN_EXPORT void zeltaGet_" #record \
                        "(const void** dataDescriptionBuffer, zelta_size_t* bufferSize);");
    QOR_RECORDS_ON_THE_WIRE(QOR_GETTER)
#undef QOR_GETTER
    return text;
}

/** The template with the value of NAME in place of each @NAME@. */
std::string filled(const std::string& pattern, const Values& values) {
    static const std::regex place("@(\\w+)@");
    std::string text;
    auto last = pattern.cbegin();
    for (std::sregex_iterator found(pattern.begin(), pattern.end(), place), end; found != end; ++found) {
        text.append(last, (*found)[0].first);
        text += values.at((*found)[1].str());
        last = (*found)[0].second;
    }
    return text.append(last, pattern.cend());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::cerr << "usage: generate_host_header HEADER TEMPLATE SOURCE...\n"
                     "  the comments of the records are taken from the sources\n";
        return 2;
    }
    try {
        Comments comments;
        for (int source = 3; source < argc; ++source) {
            addComments(textOf(argv[source]), comments);
        }
        Values values;
        addNumbers(values);
        values["enumerators"] = enumerators();
        values["records"] = declarations(comments);
        values["getters"] = getters();
        std::ofstream out(argv[1], std::ios::binary);
        out << filled(textOf(argv[2]), values);
        out.close();
        if (!out) {
            throw std::runtime_error(std::string("cannot write ") + argv[1]);
        }
    } catch (const std::exception& error) {
        std::cerr << "generate_host_header: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
