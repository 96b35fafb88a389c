// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <vorn/common/IPlugin.h>
#include <vorn/common/export.h>

namespace vorn::common {

/// One plug-in of a configuration file.
struct DynamicLibraryConfig {
    /// Given to the dynamic loader as it is, so that a bare name is searched for in its places.
    std::string path;
    /// Given to the plug-in's entry point.
    std::unordered_map<std::string, std::string> args;
};

/// A loaded plug-in library together with the object that its entry point returned.
///
///     DynamicLibrary library("/usr/lib/gateway/libmeter.so", {{"arg0", "/dev/ttyS1"}});
///     library.object()->getCipher("vault");
///
/// Threads: one at a time.
/// Lifetime: the plug-in object, and everything that it made, ends before the library is closed,
/// that is with `unloadLibrary` or this object. A library is really unloaded only when nothing else
/// holds it and it has no symbols that bind it to the process: see docs/plugin-authoring.md.
class VORN_GW_COMMON_EXPORT DynamicLibrary {
  public:
    /// Calls `loadLibrary`, whose exceptions pass.
    DynamicLibrary(const std::string& path,
                   const std::unordered_map<std::string, std::string>& args);
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;
    ~DynamicLibrary();

    /// Opens the library (symbols are bound lazily) and calls its entry point (IPlugin.h). What was
    /// loaded before is unloaded first.
    ///
    /// Throws `std::invalid_argument`, with nothing loaded, when
    /// - it cannot be opened: "Error loading ", the path, " library : ", the loader's reason;
    /// - it has no entry point: "No function found with name \"loadLibrary\"", and the loader's
    ///   reason goes to the standard error stream;
    /// - the entry point returns null: the text that it put into its error argument;
    /// - the entry point throws: the text of its exception, or "unknown exception" when that is no
    ///   `std::exception`. The exception object itself, whose type may be the library's own, is
    ///   gone before the library is closed.
    void loadLibrary(const std::string& path,
                     const std::unordered_map<std::string, std::string>& args);

    /// Deletes the plug-in object, then closes the library; no effect when nothing is loaded.
    void unloadLibrary() noexcept;

    /// The path given last.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// The plug-in object, which stays this object's own; null when nothing is loaded.
    [[nodiscard]] IPlugin* object() const noexcept { return object_.get(); }

  private:
    struct VORN_GW_COMMON_HIDDEN Closer {
        void operator()(void* handle) const noexcept;
    };

    std::string path_;
    std::unique_ptr<void, Closer> handle_;
    std::unique_ptr<IPlugin> object_;
};

/// A new shared `DynamicLibrary`; the exceptions of `DynamicLibrary::loadLibrary` pass.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::shared_ptr<DynamicLibrary> loadDynamicLibrary(
    const std::string& path, const std::unordered_map<std::string, std::string>& args);

/// Reads a list of plug-ins, in file order. The text behind the last '.' of the path decides:
/// exactly "json" means the JSON format, everything else the text format. docs/formats.md has both
/// in full:
///
///     {"plugins": [{"path": "libmeter.so", "args": {"port": {"speed": 9600}}}]}
///
///     # a comment
///     libmeter.so /dev/ttyS1 "two words"
///
/// Throws `std::system_error` with the errno when the file cannot be read (EISDIR for a directory),
/// and `std::invalid_argument` for bad content:
/// - JSON: both begin with "Failed to load configuration file (json): ", except for
///   "Invalid library configuration file: plugin's \"path\" is mandatory";
/// - text: "Failed to parse line ", its number from 1 on, ": Missing closing \"".
///
/// Deliberate: JSON argument values are the raw texts of the document, so strings keep their quotes
/// and escapes (`GetTypedArgHelper` reads them); in the text format the quotes are removed. The
/// elements of a JSON array have no names, so that only the first of them becomes an argument.
///
/// Not guaranteed: memory in proportion to the file. In the JSON format a long name is part of the
/// name of every argument below it (see `loadArgs`); keep files that strangers may write below
/// 16 KB.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::vector<DynamicLibraryConfig> loadConfigFile(
    const std::string& path);

/// Loads every plug-in of a configuration file, by path. Never throws for a bad file or a bad
/// plug-in: what could not be loaded is missing from the result and reported on the standard error
/// stream, in one of these forms:
///
///     ERROR: Unable to open configuration file "plugins.conf": <reason>
///     ERROR: Invalid configuration file "plugins.conf": <reason>
///     ERROR: Unable to load library "libmeter.so" with arguments:
///             arg0 = /dev/ttyS1
///     <reason>
///
/// The arguments are sorted by name, each indented by a tab; do not put secrets into them. A path
/// that is named twice is loaded twice, and the first one stays.
[[nodiscard]] VORN_GW_COMMON_EXPORT std::map<std::string, std::shared_ptr<DynamicLibrary>>
loadDynamicLibraries(const std::string& configPath);

}  // namespace vorn::common
