// SPDX-License-Identifier: Apache-2.0
// Writes a definition and a packet, reads both back.
#include <zelta.h>

#include <cstdio>

int main() {
    const zelta::TypeRef type(
        new zelta::ElementaryType("number", {}, 0, 4, zelta::EndianLittle, zelta::TypeSigned));
    const std::string definition = zelta::createDatadefinition(type);
    const int number = 42;
    const Packet written{
        {definition.data(), static_cast<int>(definition.size()), &number, sizeof(number), 7}};
    std::vector<char> bytes(static_cast<std::size_t>(packet_get_required_size(written)));
    Packet read;
    int value = 0;
    if (packet_create(bytes.data(), static_cast<int>(bytes.size()), written) != 0 ||
        packet_parse(bytes.data(), static_cast<int>(bytes.size()), read) != 0) {
        return 1;
    }
    PacketInterpret<int>("number", value, read, 7);
    std::printf("%d\n", value);
    return value == number ? 0 : 1;
}
