// SPDX-License-Identifier: MIT
#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <utility>

#include <vorn/common/export.h>
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>
#include <vorn/common/stream/IStreamable.h>

/// Settings that are kept as JSON.
namespace vorn::common::settings {

/// A service's settings, kept as a JSON document of two members: "version", the version of the
/// layout, and "settings", whatever the deriving class makes of it. A stream handler or an
/// fs::CachedFileManager loads and stores it.
///
///     class ModemSettings : public settings::JsonSettings {
///         bool loadSettings(const std::string&, const lwjson::Deserializer& settings) override {
///             apn = settings["apn"].as<std::string>();
///             return true;
///         }
///         std::pair<std::string, lwjson::Serializer> saveSettings() const override {
///             lwjson::Serializer settings;
///             settings.appendKey("apn");
///             settings.addValue(apn);
///             settings.finalize();
///             return {"1", settings};
///         }
///         ...
///
/// Threads: one at a time; a StreamableHandler calls both operations under its object lock.
class VORN_GW_COMMON_EXPORT JsonSettings : public stream::IStreamable {
  public:
    /// Writes the document, indented. Throws what saveSettings throws, and std::invalid_argument
    /// when its serializer is not finalized; nothing is written then.
    void serialize(std::ostream& out) const override;

    /// Reads a document and hands its two members to loadSettings. False, and nothing is called,
    /// when the stream is not good or empty, and for a document without "version" or "settings";
    /// text behind a byte-order mark is one.
    ///
    /// Throws std::runtime_error "Cannot get value from a non-scalar or null" when the version is
    /// an object, an array or null; std::invalid_argument when it is a scalar but no JSON string
    /// (the number 3); and what the JSON reader throws for a text that is no JSON or nested deeper
    /// than 100 levels. loadSettings is not called then.
    ///
    /// Deliberate: what loadSettings returns does not matter; an implementation that refuses a
    /// document throws. One that notes its call tells a loaded object from one with defaults; see
    /// fs::CachedFileManager for why a service should know.
    bool deserialize(std::istream& in) override;

  protected:
    /// Loads the fields. `settings` may be of any JSON type.
    /// Lifetime: take the values out; `settings`, and every copy of it, is valid during the call
    /// only.
    virtual bool loadSettings(const std::string& version, const lwjson::Deserializer& settings) = 0;

    /// The version, written as a JSON string, and the finalized settings.
    [[nodiscard]] virtual std::pair<std::string, lwjson::Serializer> saveSettings() const = 0;
};

}  // namespace vorn::common::settings
