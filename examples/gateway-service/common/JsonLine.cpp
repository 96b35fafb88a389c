#include "JsonLine.h"

#include "JsonText.h"

namespace gateway {

JsonLine& JsonLine::json(const char* key, const std::string& value) {
    serializer_.appendKey(key);
    serializer_.appendValue(value.c_str());
    return *this;
}

JsonLine& JsonLine::jsons(const char* key, const std::vector<std::string>& values) {
    std::string array = "[";
    for (const std::string& value : values) {
        array += array.size() > 1 ? "," : "";
        array += value;
    }
    return json(key, array + "]");
}

JsonLine& JsonLine::text(const char* key, std::string_view value) {
    return json(key, jsonString(value));
}

JsonLine& JsonLine::texts(const char* key, const std::vector<std::string>& values) {
    std::vector<std::string> elements;
    elements.reserve(values.size());
    for (const std::string& value : values) {
        elements.push_back(jsonString(value));
    }
    return jsons(key, elements);
}

JsonLine& JsonLine::number(const char* key, std::int64_t value) {
    return json(key, std::to_string(value));
}

JsonLine& JsonLine::flag(const char* key, bool value) {
    return json(key, value ? "true" : "false");
}

JsonLine& JsonLine::uuid(const char* key, const vorn::common::Uuid& value) {
    serializer_.appendKey(key);
    serializer_.addValue(value);
    return *this;
}

std::string JsonLine::take() {
    serializer_.finalize();
    return serializer_.mutableJson();
}

}  // namespace gateway
