// SPDX-License-Identifier: Apache-2.0

#include "imaging/WholeFile.h"

#include "files/UnfinishedFile.h"

namespace imaging {

void writeWhole(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
    files::UnfinishedFile file(path);
    file.write(bytes);
    file.finish();
}

}  // namespace imaging
