// SPDX-License-Identifier: MIT

// Keeps a record as bytes behind a check sum, and reads it back.
#include <iomanip>
#include <iostream>
#include <stdexcept>

#include <vorn/common/BinaryDeserializer.h>
#include <vorn/common/BinarySerializer.h>
#include <vorn/common/Crc16Computer.h>

using namespace vorn::common;

int main() {
    std::vector<char> bytes;
    BinarySerializer(bytes) << true << "pump 1" << UnixTime::fromSeconds(1700000000.25);

    Crc16Computer crc;
    crc.update(std::vector<unsigned char>(bytes.begin(), bytes.end()));
    std::cout << bytes.size() << " bytes, CRC " << std::hex << std::uppercase << crc.get()
              << std::dec << "\n";

    bool enabled = false;
    std::string name;
    UnixTime since;
    BinaryDeserializer reader(bytes);
    reader >> enabled >> name >> since;
    std::cout << std::boolalpha << enabled << ", " << name << ", " << since << "\n";
    try {
        reader >> name;
    } catch (const std::runtime_error& error) {
        std::cout << error.what() << "\n";
    }
}
