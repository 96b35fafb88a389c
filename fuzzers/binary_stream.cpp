// SPDX-License-Identifier: MIT
// What is written has the bytes of the table in the header, and any bytes read as they say, from a
// vector and from a stream; a value that cannot be read leaves its target as it was.
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/common/BinaryDeserializer.h>
#include <vorn/common/BinarySerializer.h>

#include "fuzz.h"

namespace {

using vorn::common::BinaryDeserializer;
using vorn::common::BinarySerializer;
using vorn::common::time::UnixTime;

template <class Value>
std::string bytesOf(Value value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

void write(fuzz::Input input) {
    std::string expected;
    std::vector<char> vector;
    std::ostringstream stream;
    BinarySerializer toVector(vector);
    BinarySerializer toStream(stream);
    const auto add = [&](const auto& value, const std::string& bytes) {
        toVector << value;
        toStream << value;
        expected += bytes;
    };
    while (!input.empty() && expected.size() < 300000) {
        const unsigned choice = input.byte();
        // Long texts are slow, and one of them in many inputs is enough.
        switch (choice == 4 ? 8 : choice % 8) {
            case 0:
            case 1:
                add(choice % 2 == 1, std::string(1, static_cast<char>(choice % 2)));
                break;
            case 2:
                add(std::nullopt, std::string(1, '\0'));
                break;
            case 3: {
                const auto time = UnixTime::fromSeconds(input.number<double>());
                add(time, bytesOf(time.seconds()));
                break;
            }
            case 8: {
                // Around the length at which the two bytes begin again.
                const std::string text(65534 + input.byte() % 5, 'x');
                add(text, bytesOf(static_cast<std::uint16_t>(text.size())) +
                              text.substr(0, text.size() % 65536));
                break;
            }
            case 5: {
                const std::string text(input.text(choice / 8));
                add(text.c_str(),
                    bytesOf(static_cast<std::uint16_t>(std::strlen(text.c_str()))) + text.c_str());
                break;
            }
            default: {
                const std::string_view text = input.text(choice / 8);
                add(text, bytesOf(static_cast<std::uint16_t>(text.size())) + std::string(text));
            }
        }
    }
    fuzz::same(expected, std::string(vector.begin(), vector.end()), "bytes in the vector");
    fuzz::same(expected, stream.str(), "bytes in the stream");
}

/// The order of the types is in the bytes' own low bits, taken from both ends.
void read(const std::string& bytes) {
    const std::vector<char> vector(bytes.begin(), bytes.end());
    std::istringstream stream(bytes);
    BinaryDeserializer fromVector(vector);
    BinaryDeserializer fromStream(stream);
    std::string_view rest = bytes;
    for (std::size_t step = 0; step < bytes.size(); ++step) {
        const auto choice = static_cast<unsigned char>(bytes[bytes.size() - 1 - step]) % 4U;
        const std::string noBytes = "runtime: No data left in the buffer for deserialization";
        const std::string noData = "runtime: No data left in the file for deserialization";
        bool fits = true;
        const auto both = [&](auto before, const auto& check) {
            auto one = before;
            auto other = before;
            fuzz::same(fits ? "" : noBytes, fuzz::errorOf([&] { fromVector >> one; }), "vector");
            fuzz::same(fits ? "" : noData, fuzz::errorOf([&] { fromStream >> other; }), "stream");
            check(one, true);
            check(other, false);
        };
        if (choice == 0) {
            fits = !rest.empty();
            const bool expected = fits ? rest[0] != '\0' : true;
            both(true, [&](bool found, bool) { fuzz::same(expected, found, "truth value"); });
            rest.remove_prefix(fits ? 1 : 0);
        } else if (choice == 1) {
            fits = rest.size() >= 8;
            double expected = 7;
            if (fits) {
                std::memcpy(&expected, rest.data(), 8);
                expected = expected == expected ? expected : -1;
                rest.remove_prefix(8);
            }
            both(UnixTime::fromSeconds(7, false), [&](const UnixTime& found, bool) {
                fuzz::same(expected, found.seconds(), "time");
                fuzz::same(fits, found.highPrecision(), "precision");
            });
        } else {
            std::uint16_t length = 0;
            std::string expected = "before";
            std::string partial = expected;
            fits = rest.size() >= 2;
            if (fits) {
                std::memcpy(&length, rest.data(), 2);
                rest.remove_prefix(2);
                fits = rest.size() >= length;
                expected = fits ? std::string(rest.substr(0, length)) : std::string(length, '\0');
                // A stream hands over what it has before its end shows.
                partial = std::string(rest.substr(0, length));
                partial.resize(length);
                rest.remove_prefix(fits ? length : 0);
            }
            both(std::string("before"), [&](const std::string& found, bool isVector) {
                fuzz::require(found == (isVector ? expected : partial), "text");
            });
        }
        if (!fits) {
            return;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    if (input.byte() % 2 == 0) {
        write(input);
    } else {
        read(std::string(input.rest()));
    }
    return 0;
}
