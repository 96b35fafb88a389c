// SPDX-License-Identifier: MIT
#include "vorn/common/stream/StreamAccessors.h"

#include <exception>
#include <iostream>
#include <utility>

#include "posix/SideFile.h"
#include "posix/durable.h"
#include "posix/exchangeFiles.h"
#include "posix/openFile.h"
#include "posix/writeInPlace.h"

namespace vorn::common::stream {
namespace {

// A full device may have room again after what failed has been removed.
constexpr int kAttempts = 3;

template <class Attempt>
bool tryRepeatedly(Attempt attempt) {
    for (int i = 0; i < kAttempts; ++i) {
        if (attempt()) {
            return true;
        }
    }
    return false;
}

void syncDirectories(const std::string& first, const std::string& second) {
    internal::syncDirectoryOf(first);
    // As a rule they are one directory, and each synchronisation waits for the device.
    if (internal::directoryOf(first) != internal::directoryOf(second)) {
        internal::syncDirectoryOf(second);
    }
}

}  // namespace

FileInputStreamAccessor::FileInputStreamAccessor(const std::string& path) {
    internal::openStream(stream_, path, std::ios_base::in);
}

FileOutputStreamAccessor::FileOutputStreamAccessor(const std::string& path,
                                                   std::ios_base::openmode mode,
                                                   std::filesystem::perms permissions,
                                                   const std::string& tmpPath)
    : path_(path), mode_(mode | std::ios_base::out), permissions_(permissions), tmpPath_(tmpPath) {}

void FileOutputStreamAccessor::commit() {
    // An operator<< that ran out of memory throws nothing: it fails the stream. What the buffer
    // holds is a part then, and no part takes the place of a good file.
    if (buffer_.fail()) {
        return;
    }
    if (tmpPath_.empty()) {
        static_cast<void>(tryRepeatedly([this] { return writeInPlace(path_); }));
        internal::syncDirectoryOf(path_);
        return;
    }
    // The exchange follows a failed write too: what could be written is then at the target, and the
    // former version is safe at the temporary path. Where the two are replaced one after the other,
    // the better content comes first, because a kill in between leaves it under both names.
    const bool complete = writeToTemporaryPath();
    internal::exchangeFiles(
        tmpPath_, path_,
        complete ? internal::ReplaceFirst::NewFile : internal::ReplaceFirst::OldFile);
    syncDirectories(path_, tmpPath_);
}

bool FileOutputStreamAccessor::writeToTemporaryPath() const {
    // What else may stand there (a link, a pipe, a device) is written through, not replaced.
    if (!internal::emptiesFile(mode_) || !internal::isRegularOrMissing(tmpPath_)) {
        return tryRepeatedly([this] { return writeInPlace(tmpPath_); });
    }
    // Beside the temporary path, which may hold the only good version (after a start from the
    // backup alone): it is replaced in one step by what is complete.
    const auto writeAside = [this] {
        internal::SideFile side(tmpPath_);
        return side.write(buffer_.view(), permissions_) && side.rename();
    };
    // In place as a last resort: a full device may have room for two versions, but not for three.
    return tryRepeatedly(writeAside) || writeInPlace(tmpPath_);
}

bool FileOutputStreamAccessor::writeInPlace(const std::string& path) const {
    return internal::writeInPlace(path, mode_, permissions_, buffer_.view());
}

InputBuilder make_nullistreamBuilder() {
    return [] { return std::unique_ptr<IInputStreamAccessor>(); };
}

OutputBuilder make_nullostreamBuilder() {
    return [] { return std::unique_ptr<IOutputStreamAccessor>(); };
}

InputBuilder make_istreamBuilder(std::istream& stream) {
    return [&stream] { return std::make_unique<InputStreamRefAccessor>(stream); };
}

OutputBuilder make_ostreamBuilder(std::ostream& stream) {
    return [&stream] { return std::make_unique<OutputStreamRefAccessor>(stream); };
}

InputBuilder make_ifstreamBuilder(const std::string& path) {
    return [path] { return std::make_unique<FileInputStreamAccessor>(path); };
}

OutputBuilder make_ofstreamBuilder(const std::string& path, std::ios_base::openmode mode,
                                   std::filesystem::perms perms, const std::string& tmpPath) {
    // One capture for both: when the copy of a second one fails, GCC 11 leaks the first.
    return [paths = std::pair(path, tmpPath), mode,
            perms]() -> std::unique_ptr<IOutputStreamAccessor> {
        try {
            return std::make_unique<FileOutputStreamAccessor>(paths.first, mode, perms,
                                                              paths.second);
        } catch (const std::exception& error) {
            std::cerr << error.what() << std::endl;
            return nullptr;
        }
    };
}

}  // namespace vorn::common::stream
