// SPDX-License-Identifier: Apache-2.0

#include "arrays/NumpyFile.h"

#include <zip.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "arrays/ArrayFile.h"
#include "arrays/NumpyHeader.h"
#include "files/UnfinishedFile.h"

namespace arrays {
namespace {

constexpr std::uint64_t largestArray = std::uint64_t{1} << 34U;  // bytes; unpacked, of an archive

Array arrayIn(std::vector<std::uint8_t> bytes) {
    NumpyHeader header = readNumpyHeader(bytes);
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(header.size));
    return makeArray(header.type, std::move(header.shape), std::move(bytes), header.columnMajor);
}

std::vector<std::uint8_t> bytesOf(const Array& array) {
    std::vector<std::uint8_t> bytes = makeNumpyHeader(array.type, array.shape);
    bytes.insert(bytes.end(), array.bytes.begin(), array.bytes.end());
    return bytes;
}

struct CloseArchive {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseEntry {
    void operator()(zip_file_t* entry) const { zip_fclose(entry); }
};
using Archive = std::unique_ptr<zip_t, CloseArchive>;

Archive openArchive(const std::filesystem::path& path) {
    int code = 0;
    Archive archive(zip_open(path.c_str(), ZIP_RDONLY, &code));
    if (archive == nullptr) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const std::string reason = zip_error_strerror(&error);
        zip_error_fini(&error);
        throw ArrayError(path.string() + " cannot be read as a .npz archive: " + reason + ".");
    }
    return archive;
}

std::vector<std::string> namesIn(zip_t& archive) {
    std::vector<std::string> names;
    const zip_int64_t count = zip_get_num_entries(&archive, 0);
    for (zip_int64_t k = 0; k < count; ++k) {
        const char* const entry = zip_get_name(&archive, static_cast<zip_uint64_t>(k), 0);
        const std::string name = entry == nullptr ? "" : entry;
        if (name.ends_with(".npy")) {
            names.push_back(name.substr(0, name.size() - 4));
        }
    }
    return names;
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += text.empty() ? "" : ", ";
        text += name;
    }
    return text.empty() ? "none" : text;
}

// Grows with what is really there: the size that an archive claims for an entry is no reason to allocate.
std::vector<std::uint8_t> unpacked(zip_t& archive, const std::string& entryName) {
    const std::unique_ptr<zip_file_t, CloseEntry> entry(zip_fopen(&archive, entryName.c_str(), 0));
    if (entry == nullptr) {
        throw ArrayError(std::string("the entry cannot be opened: ") + zip_strerror(&archive));
    }
    constexpr std::size_t piece = std::size_t{1} << 20U;
    std::vector<std::uint8_t> bytes;
    while (true) {
        const std::size_t have = bytes.size();
        bytes.resize(have + piece);
        const zip_int64_t read = zip_fread(entry.get(), bytes.data() + have, piece);
        bytes.resize(have + static_cast<std::size_t>(std::max<zip_int64_t>(read, 0)));
        if (read < 0) {
            throw ArrayError(std::string("the entry is damaged: ") + zip_file_strerror(entry.get()));
        }
        if (read == 0) {
            return bytes;
        }
        if (bytes.size() > largestArray) {
            throw ArrayError("the entry unpacks to more than 16 GiB");
        }
    }
}

}  // namespace

Array readNpy(const std::filesystem::path& path) {
    try {
        return arrayIn(readFile(path));
    } catch (const ArrayError& error) {
        throw ArrayError(path.string() + ": " + error.what());
    }
}

std::vector<std::string> namesInNpz(const std::filesystem::path& path) {
    return namesIn(*openArchive(path));
}

Array readNpz(const std::filesystem::path& path, const std::string& name) {
    const Archive archive = openArchive(path);
    const std::vector<std::string> names = namesIn(*archive);
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        throw ArrayError(path.string() + " holds no array \"" + name + "\". It holds: " + listOf(names) +
                         ".");
    }
    try {
        return arrayIn(unpacked(*archive, name + ".npy"));
    } catch (const ArrayError& error) {
        throw ArrayError(path.string() + ", array " + name + ": " + error.what());
    }
}

void writeNpy(const std::filesystem::path& path, const Array& array) {
    files::UnfinishedFile file(path);
    file.write(bytesOf(array));
    file.finish();
}

void writeNpz(const std::filesystem::path& path, const std::vector<NamedArray>& arrays) {
    // The archive is made in memory, so that the file appears whole or not at all.
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* const memory = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_t* const archive =
        memory == nullptr ? nullptr : zip_open_from_source(memory, ZIP_CREATE | ZIP_TRUNCATE, &error);
    const std::string reason = zip_error_strerror(&error);
    zip_error_fini(&error);
    if (archive == nullptr) {
        zip_source_free(memory);
        throw ArrayError(path.string() + " cannot be made: " + reason + ".");
    }
    zip_source_keep(memory);
    const std::unique_ptr<zip_source_t, void (*)(zip_source_t*)> kept(memory, zip_source_free);
    std::vector<std::vector<std::uint8_t>> contents;  // they are read when the archive is closed
    contents.reserve(arrays.size());
    for (const NamedArray& named : arrays) {
        contents.push_back(bytesOf(named.array));
    }
    bool good = true;
    for (std::size_t k = 0; k < arrays.size() && good; ++k) {
        zip_source_t* const entry = zip_source_buffer(archive, contents[k].data(), contents[k].size(), 0);
        good = entry != nullptr &&
               zip_file_add(archive, (arrays[k].name + ".npy").c_str(), entry, ZIP_FL_ENC_UTF_8) >= 0;
        if (!good && entry != nullptr) {
            zip_source_free(entry);
        }
    }
    if (!good || zip_close(archive) != 0) {
        const std::string problem = zip_strerror(archive);
        zip_discard(archive);
        throw ArrayError(path.string() + " cannot be made: " + problem + ".");
    }
    zip_stat_t stat;
    zip_source_open(memory);
    zip_source_stat(memory, &stat);
    std::vector<std::uint8_t> bytes(stat.size);
    const zip_int64_t read = zip_source_read(memory, bytes.data(), bytes.size());
    zip_source_close(memory);
    if (read != static_cast<zip_int64_t>(bytes.size())) {
        throw ArrayError(path.string() + " cannot be made: the archive is not whole.");
    }
    files::UnfinishedFile file(path);
    file.write(bytes);
    file.finish();
}

}  // namespace arrays
