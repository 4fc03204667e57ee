// SPDX-License-Identifier: Apache-2.0
#include "golden/Footprint.h"

#include <dirent.h>
#include <link.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace golden {
namespace {

constexpr int kLargeBuffer = 4 << 20;  // bytes: above all that a frame needs without debug records

std::size_t residentBytes() {
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    unsigned long total = 0;
    unsigned long resident = 0;
    const bool read = file != nullptr && std::fscanf(file, "%lu %lu", &total, &resident) == 2;
    if (file != nullptr) {
        std::fclose(file);
    }
    if (!read) {
        throw std::runtime_error("cannot read /proc/self/statm");
    }
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

int openFiles() {
    DIR* const folder = opendir("/proc/self/fd");
    if (folder == nullptr) {
        throw std::runtime_error("cannot read /proc/self/fd");
    }
    int count = 0;
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

/** Touches the pages of an object's variables that begin as zeros. Between them lies what a sanitizer guards.
 */
[[gnu::no_sanitize_address]] int touchObject(dl_phdr_info* object, std::size_t, void*) {
    const long page = sysconf(_SC_PAGESIZE);
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) == 0) {
            continue;
        }
        auto* const begin = reinterpret_cast<volatile char*>(object->dlpi_addr + segment.p_vaddr);
        for (auto at = static_cast<long>(segment.p_filesz); at < static_cast<long>(segment.p_memsz);
             at += page) {
            begin[at] = begin[at];
        }
    }
    return 0;
}

}  // namespace

void touchStaticMemory() {
    dl_iterate_phdr(touchObject, nullptr);
}

void returnFreeMemory() {
    malloc_trim(0);
}

Footprint footprint() {
    const struct mallinfo2 heap = mallinfo2();
    return {residentBytes(), heap.uordblks + heap.hblkhd, openFiles()};
}

void returnLargeBuffers() {
    mallopt(M_MMAP_THRESHOLD, kLargeBuffer);  // which also keeps the library from raising it
}

}  // namespace golden
