// SPDX-License-Identifier: Apache-2.0
#include "golden/Digest.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <set>
#include <sstream>

#include "Camera.h"
#include "golden/Members.h"

namespace golden {
namespace {

std::string digits(std::uint64_t value, int count) {
    char text[17];
    std::snprintf(text, sizeof text, "%0*llx", count, static_cast<unsigned long long>(value));
    return text;
}

void addText(Hash& hash, const std::string& text) {
    hash.addBytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

void addRun(Hash& hash, const Run& run, const std::uint8_t* record) {
    const std::uint8_t* const bytes = record + run.offset;
    switch (run.kind) {
        case Kind::Float:
            hash.addFloats(bytes, run.count);
            break;
        case Kind::Integer:
            hash.addBytes(bytes, run.count * run.size);
            break;
        case Kind::Text:
            addText(hash, withoutNumbers({reinterpret_cast<const char*>(bytes), run.count}));
            break;
        case Kind::Masked:
            break;
    }
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

/** "3210 distance" of a line, and its hashes. */
std::map<std::string, std::vector<std::string>> tableOf(const std::vector<std::string>& lines) {
    std::map<std::string, std::vector<std::string>> table;
    for (const std::string& line : lines) {
        std::vector<std::string> words = wordsOf(line);
        if (words.empty() || words[0] == "#") {
            continue;
        }
        const std::size_t names = std::isdigit(static_cast<unsigned char>(words[0][0])) != 0 ? 2 : 1;
        std::string key = words[0];
        if (names == 2 && words.size() > 1) {
            key += ' ' + words[1];
        }
        words.erase(words.begin(),
                    words.begin() + static_cast<std::ptrdiff_t>(std::min(names, words.size())));
        table[key] = words;
    }
    return table;
}

}  // namespace

std::string withoutNumbers(std::string_view text) {
    std::string rest;
    for (const char c : text.substr(0, text.find('\0'))) {
        if (std::isdigit(static_cast<unsigned char>(c)) == 0) {
            rest += c;
        } else if (rest.empty() || rest.back() != '#') {
            rest += '#';
        }
    }
    return rest;
}

void Digest::add(const Answer& answer) {
    Hash& calls = m_current[{0, 0, "calls"}];
    calls.add(static_cast<std::uint32_t>(answer.result));
    calls.add(answer.exceptionOccured ? 1 : 0);
    const std::string exception = withoutNumbers(answer.exception);
    addText(calls, exception);
    if (answer.exceptionOccured) {
        m_refusals.insert(exception);
    }
    Packet chunks;
    if (!answer.packet.empty()) {
        packet_parse(answer.packet.data(), static_cast<int>(answer.packet.size()), chunks);
    }
    for (const ZeltaChunk& chunk : chunks) {
        m_current[{0, 0, "calls"}].add(static_cast<std::uint32_t>(chunk.channelID));
        addRecord(chunk);
    }
    if (answer.finishedFrame) {
        m_frames.push_back(std::move(m_current));
        m_current.clear();
    }
}

void Digest::addRecord(const ZeltaChunk& chunk) {
    const Members& members = membersOf(chunk);
    const bool isResult = chunk.channelID == host_testing::kResultChannel;
    std::vector<Hash*> hashOfLeaf;
    for (std::size_t leaf = 0; leaf < members.leaves.size(); ++leaf) {
        const std::string& path = members.leaves[leaf];
        const std::string name = isResult ? path : path.substr(0, path.find('.'));
        // All leaves of a first-level member stand together, so the first of them says where it stands.
        const bool continues = leaf > 0 && !isResult &&
                               members.leaves[leaf - 1].substr(0, members.leaves[leaf - 1].find('.')) == name;
        hashOfLeaf.push_back(continues ? hashOfLeaf.back() : &m_current[{chunk.channelID, leaf, name}]);
    }
    for (const Run& run : members.runs) {
        addRun(*hashOfLeaf[run.member], run, static_cast<const std::uint8_t*>(chunk.data));
    }
    m_hashedMembers += members.leaves.size();
}

std::vector<std::string> Digest::lines() const {
    std::vector<Frame> frames = m_frames;
    if (!m_current.empty()) {
        frames.push_back(m_current);
    }
    std::set<Key> keys;
    for (const Frame& frame : frames) {
        for (const auto& [key, hash] : frame) {
            keys.insert(key);
        }
    }
    std::vector<std::string> lines;
    for (const Key& key : keys) {
        std::string line = key.channel == 0 ? key.name : std::to_string(key.channel) + " " + key.name;
        for (const Frame& frame : frames) {
            const auto found = frame.find(key);
            line += ' ';
            line += found == frame.end() ? "-" : digits(found->second.value() >> 32U, 8);
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> digestOf(const Recording& recording) {
    const std::vector<Step> steps = recording.make();
    Digest digest;
    play(steps, [&](const Answer& answer) { digest.add(answer); });
    std::vector<std::string> lines = digest.lines();
    lines.insert(lines.begin(), "input " + digits(hashOfInput(steps), 16));
    for (const std::string& refusal : digest.refusals()) {
        lines.insert(lines.begin(), "# refused: " + refusal);
    }
    lines.insert(lines.begin(), "# " + std::to_string(digest.hashedMembers()) + " members hashed");
    return lines;
}

std::vector<std::string> differences(const std::vector<std::string>& expected,
                                     const std::vector<std::string>& actual) {
    const auto expectedTable = tableOf(expected);
    const auto actualTable = tableOf(actual);
    std::vector<std::string> sentences;
    for (const auto& [name, hashes] : expectedTable) {
        const auto found = actualTable.find(name);
        if (found == actualTable.end()) {
            sentences.push_back(name + " is missing");
            continue;
        }
        const std::vector<std::string>& others = found->second;
        if (others.size() != hashes.size()) {
            sentences.push_back(name + " has " + std::to_string(others.size()) + " frames, not " +
                                std::to_string(hashes.size()));
            continue;
        }
        for (std::size_t frame = 0; frame < hashes.size(); ++frame) {
            if (others[frame] != hashes[frame]) {
                sentences.push_back("frame " + std::to_string(frame) + ": " + name + " is " + others[frame] +
                                    ", not " + hashes[frame]);
            }
        }
    }
    for (const auto& [name, hashes] : actualTable) {
        if (expectedTable.count(name) == 0) {
            sentences.push_back(name + " is new");
        }
    }
    return sentences;
}

}  // namespace golden
