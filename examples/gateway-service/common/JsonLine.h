#pragma once

#include <vorn/common/Uuid.h>
#include <vorn/common/lwjson/Serializer.h>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

/// Builds one message of the protocol: a JSON object on one line, valid whatever its texts hold
/// (see JsonText.h).
///
///     std::string line = JsonLine().text("answer", "error").text("error", reason).take();
class JsonLine {
  public:
    JsonLine& text(const char* key, std::string_view value);
    JsonLine& texts(const char* key, const std::vector<std::string>& values);
    JsonLine& number(const char* key, std::int64_t value);
    JsonLine& flag(const char* key, bool value);
    JsonLine& uuid(const char* key, const vorn::common::Uuid& value);
    /// A value that is JSON already and holds no line feed.
    JsonLine& json(const char* key, const std::string& value);
    /// An array of values that are JSON already and hold no line feed.
    JsonLine& jsons(const char* key, const std::vector<std::string>& values);

    /// The finished object without a line feed. Call it last, once.
    [[nodiscard]] std::string take();

  private:
    vorn::common::lwjson::Serializer serializer_{vorn::common::lwjson::Serializer::Compact};
};

}  // namespace gateway
