// SPDX-License-Identifier: MIT
#include "vorn/common/fs/tools.h"

#include <dirent.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <vorn/common/strings/strings.h>

#include "posix/copyFile.h"
#include "posix/exchangeFiles.h"
#include "posix/openFile.h"
#include "posix/temporary.h"
#include "posix/transfer.h"

namespace vorn::common::fs::tools {
namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

// Blocks instead of std::getline: a line may cross them, and the options are looked up once.
class LineCollector {
  public:
    explicit LineCollector(const std::set<ReadFileOptions>& options)
        : trim_(options.count(ReadFileOptions::Trim) != 0),
          skipEmpty_(options.count(ReadFileOptions::SkipEmptyLines) != 0) {}

    void feed(const char* begin, const char* end) {
        while (begin != end) {
            const auto* newline = static_cast<const char*>(
                std::memchr(begin, '\n', static_cast<std::size_t>(end - begin)));
            if (newline == nullptr) {
                line_.append(begin, end);
                return;
            }
            line_.append(begin, newline);
            endLine();
            begin = newline + 1;
        }
    }

    std::vector<std::string> finish() {
        // A last line without a line feed; after a line feed nothing is left, and no line is added.
        if (!line_.empty()) {
            endLine();
        }
        return std::move(lines_);
    }

  private:
    void endLine() {
        if (trim_) {
            strings::trim(line_);
        }
        if (!line_.empty() || !skipEmpty_) {
            lines_.push_back(std::move(line_));
        }
        // It may have been moved from, which leaves any content.
        line_.clear();
    }

    const bool trim_;
    const bool skipEmpty_;
    std::string line_;
    std::vector<std::string> lines_;
};

[[noreturn]] void throwNoSize(const std::filesystem::path& path) {
    throw std::runtime_error("Could not determine file size: " + path.string());
}

}  // namespace

bool copyFile(const std::string& from, const std::string& to) {
    std::error_code error;
    return std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing,
                                      error) ||
           (error == std::errc::value_too_large && internal::copyRegularFile(from, to));
}

bool deleteFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::remove(path, error);
}

void removeFolder(const std::string& path) {
    std::filesystem::remove_all(path);
}

std::ofstream createFile(const std::string& path, const std::string& content) {
    std::ofstream stream;
    internal::openStream(stream, path, std::ios_base::out | std::ios_base::trunc);
    if (stream.is_open()) {
        stream << content;
    }
    return stream;
}

std::string createTemporaryFile(const std::string& prefix) {
    return internal::temporaryFile(prefix).path;
}

std::string createTemporaryFolder(const std::string& prefix) {
    return internal::temporaryFolder(prefix);
}

std::string readFile(const std::filesystem::path& path) {
    const auto file = internal::openForReading(path.native());
    if (!file) {
        throw std::invalid_argument("Could not open file: " + path.string());
    }
    const auto size = internal::sizeBySeeking(file.get());
    if (size < 0) {
        throwNoSize(path);
    }
    std::string content;
    // On 32 bits a file may be larger than any string, and its size would be cut by the conversion.
    if (static_cast<std::uint64_t>(size) > content.max_size()) {
        throw std::length_error("File does not fit into memory: " + path.string());
    }
    content.resize(static_cast<std::size_t>(size));
    const auto read = internal::readFully(file.get(), content.data(), content.size());
    // Fewer bytes without an error are no failure: the file has been cut meanwhile, or promises
    // more than it has (sysfs).
    if (read.error == static_cast<int>(std::errc::is_a_directory)) {
        throwNoSize(path);
    }
    if (read.error != 0) {
        throw std::system_error(read.error, std::generic_category(),
                                "Could not read file: " + path.string());
    }
    content.resize(read.size);
    return content;
}

std::vector<std::string> listFilesFromDirPath(const std::string& dirPath, bool withPath) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, DirectoryCloser> directory(::opendir(dirPath.c_str()));
    if (!directory) {
        return names;
    }
    const auto prefix = withPath ? dirPath + "/" : std::string();
    while (const auto* entry = ::readdir(directory.get())) {
        // Deliberate: the type is taken from the entry, which saves a stat for each.
        if (entry->d_type == DT_REG) {
            names.push_back(prefix + entry->d_name);
        }
    }
    return names;
}

std::vector<std::string> readFileLinesToArray(const std::string& path,
                                              const std::set<ReadFileOptions>& options) {
    const auto file = internal::openForReading(path);
    if (!file) {
        return {};
    }
    LineCollector lines(options);
    std::array<char, 16384> block;
    std::size_t count = 0;
    // A block that is not full is the last one: the file ends, or fails, and then the lines end
    // too.
    do {
        count = internal::readUpTo(file.get(), block.data(), block.size());
        lines.feed(block.data(), block.data() + count);
    } while (count == block.size());
    return lines.finish();
}

std::string readFileLinesToString(const std::string& path, const std::string& separator,
                                  const std::set<ReadFileOptions>& options) {
    std::string text;
    // Not "text is empty": the first line may be.
    bool first = true;
    for (const auto& line : readFileLinesToArray(path, options)) {
        if (!first) {
            text += separator;
        }
        text += line;
        first = false;
    }
    return text;
}

void swapFiles(const std::string& oldFile, const std::string& newFile) {
    internal::exchangeFiles(oldFile, newFile, internal::ReplaceFirst::NewFile);
}

}  // namespace vorn::common::fs::tools
