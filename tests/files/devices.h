// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <ios>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "helpers/TempDir.h"
#include "helpers/child.h"
#include "helpers/environment.h"

/// Operations on files while the device, or the process, has no room for them.
namespace files {

inline constexpr int kNoDevice = 77;

/// Runs `body` in a child whose own view of `path` is a memory file system; one where that cannot
/// be had ends with kNoDevice and tells why.
inline helpers::ChildResult onDevice(const std::string& path, const std::string& options,
                                     const std::function<std::string()>& body) {
    return helpers::runInChild([&](const auto& report) {
        if (::unshare(CLONE_NEWNS) != 0 ||
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tiny", path.c_str(), "tmpfs", 0, options.c_str()) != 0) {
            report(std::string("cannot mount a file system: ") + std::strerror(errno));
            return kNoDevice;
        }
        report(body());
        return 0;
    });
}

/// The system's temporary directory and the one that is always used, on a device of the test's.
inline const std::string kPlace = "/tmp";

inline std::string at(const std::string& name) {
    return kPlace + '/' + name;
}

/// What the device lacks.
enum class Lack { Blocks, Inodes, AllInodesButOne, Writing };

inline std::ostream& operator<<(std::ostream& out, Lack lack) {
    static const char* const names[] = {"Blocks", "Inodes", "AllInodesButOne", "Writing"};
    return out << names[static_cast<int>(lack)];
}

/// Names and contents; directories have none.
using Contents = std::map<std::string, std::string>;

inline const std::string kRemoved = "<removed>";
inline const std::string kPart = "<part>";

/// How an attempt ends.
struct Result {
    std::string outcome;    ///< "", or what the operation answers or throws
    Contents changes;       ///< of what was there before
    Contents laterChanges;  ///< what the next attempt, which works, changes beside its own

    bool operator==(const Result&) const = default;
};

/// Makes one attempt and gives its outcome.
using Attempt = std::function<std::string()>;

struct Operation {
    const char* name;
    /// Called while there is room. The attempts come afterwards.
    std::function<Attempt()> prepare;
    /// With room.
    Result works;
    /// Without: what is not listed works all the same.
    std::map<Lack, Result> without;
    /// With 0, 1, ... descriptors: what is not listed works.
    std::vector<Result> withDescriptors;
};

/// An operation that needs no preparation.
inline std::function<Attempt()> attempt(Attempt attempt) {
    return [attempt] { return attempt; };
}

/// "" for success, or what an operation throws; for a reason of the system's that reason alone.
inline std::string outcomeOf(const std::function<void()>& operation) {
    try {
        operation();
        return "";
    } catch (const std::ios_base::failure& failure) {
        const std::string text = failure.what();
        return text.substr(0, text.rfind(": "));
    } catch (const std::system_error& error) {
        return error.code().message();
    } catch (const std::exception& error) {
        return error.what();
    }
}

inline int openDescriptors(int below = 256) {
    int count = 0;
    for (int descriptor = 0; descriptor < below; ++descriptor) {
        count += ::fcntl(descriptor, F_GETFD) == -1 ? 0 : 1;
    }
    return count;
}

/// Leaves no room on the device for as long as it lives.
class NoRoom {
  public:
    explicit NoRoom(Lack lack) : lack_(lack) {
        if (lack == Lack::Writing) {
            remount(MS_RDONLY);
        } else if (lack == Lack::Blocks) {
            const std::string page(4096, 'f');
            const int file = ::open(nameOf(0).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            while (::write(file, page.data(), page.size()) > 0) {
            }
            ::close(file);
            fillers_ = 1;
        } else {
            while (::mknod(nameOf(fillers_).c_str(), S_IFREG | 0600, 0) == 0) {
                ++fillers_;
            }
            if (lack == Lack::AllInodesButOne) {
                ::unlink(nameOf(--fillers_).c_str());
            }
        }
    }
    ~NoRoom() {
        if (lack_ == Lack::Writing) {
            remount(0);
        }
        for (int filler = 0; filler < fillers_; ++filler) {
            ::unlink(nameOf(filler).c_str());
        }
    }
    NoRoom(const NoRoom&) = delete;
    NoRoom& operator=(const NoRoom&) = delete;

    static bool isFiller(const std::string& name) { return name.rfind("filler", 0) == 0; }

  private:
    static std::string nameOf(int filler) { return at("filler" + std::to_string(filler)); }
    static void remount(unsigned long flags) {
        if (::mount(nullptr, kPlace.c_str(), nullptr, MS_REMOUNT | flags, nullptr) != 0) {
            throw std::runtime_error("cannot remount");
        }
    }

    Lack lack_;
    int fillers_ = 0;
};

/// Leaves this process as many descriptors as it has, and some more, for as long as it lives.
class FewDescriptors {
  public:
    explicit FewDescriptors(int more) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        int number = 0;
        for (int unused = 0;; ++number) {
            if (::fcntl(number, F_GETFD) == -1 && ++unused > more) {
                break;
            }
        }
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(number);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

  private:
    rlimit before_{};
};

/// What stands in the place; of `whole` any beginning, an empty one too, as a part.
inline Contents contentsOfPlace(const std::string& whole) {
    Contents contents;
    for (const auto& entry : std::filesystem::directory_iterator(kPlace)) {
        const auto name = entry.path().filename().string();
        if (NoRoom::isFiller(name)) {
            continue;
        }
        const auto content = entry.is_directory() ? "" : helpers::contentOf(entry.path());
        const bool part = !entry.is_directory() && content != whole && whole.rfind(content, 0) == 0;
        contents[name] = part ? kPart : content;
    }
    return contents;
}

inline Contents changed(Contents contents, const Contents& changes) {
    for (const auto& [name, content] : changes) {
        contents[name] = content;
    }
    std::erase_if(contents, [](const auto& entry) { return entry.second == kRemoved; });
    return contents;
}

inline std::string textOf(const Contents& contents) {
    std::string text;
    for (const auto& [name, content] : contents) {
        text += ' ' + name + " (" +
                (content == kPart ? kPart : std::to_string(content.size()) + " bytes") + ')';
    }
    return text;
}

/// Runs operations one after the other, each on a device of its own that holds `before`, and notes
/// what was not as expected.
class Trial {
  public:
    Trial(Contents before, std::string whole)
        : before_(std::move(before)), whole_(std::move(whole)) {}

    /// One attempt while `Scarcity(argument)` is in force, which ends as `refused` says (or works),
    /// and a further one behind it.
    template <class Scarcity, class Argument>
    void run(const Operation& operation, const Argument& argument,
             const std::optional<Result>& refused) {
        if (::mount("tiny", kPlace.c_str(), "tmpfs", 0, "size=256k,nr_inodes=32") != 0) {
            problems_ += "cannot mount\n";
            return;
        }
        for (const auto& [name, content] : before_) {
            const int file = ::open(at(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            static_cast<void>(::write(file, content.data(), content.size()));
            ::close(file);
        }
        what_ = std::string(operation.name) + ", " + testing::PrintToString(argument);
        {
            const auto attempt = operation.prepare();
            const auto prepared = contentsOfPlace(whole_);
            const int descriptors = openDescriptors();
            std::string outcome;
            {
                const Scarcity scarcity(argument);
                outcome = attempt();
            }
            const auto& first = refused ? *refused : operation.works;
            auto expected = changed(prepared, first.changes);
            expect(outcome, first.outcome, expected, descriptors);
            if (refused) {
                expected = changed(changed(expected, operation.works.changes), first.laterChanges);
                what_ += ", with room again";
                outcome = attempt();
                expect(outcome, operation.works.outcome, expected, descriptors);
            }
        }
        if (::umount(kPlace.c_str()) != 0) {
            problems_ += what_ + ": something is still open\n";
        }
    }

    [[nodiscard]] const std::string& problems() const { return problems_; }

  private:
    void expect(const std::string& outcome, const std::string& expectedOutcome,
                const Contents& expected, int descriptors) {
        if (outcome != expectedOutcome) {
            problems_ += what_ + ": \"" + outcome + "\", not \"" + expectedOutcome + "\"\n";
        }
        const auto contents = contentsOfPlace(whole_);
        if (contents != expected) {
            problems_ +=
                what_ + ": there is" + textOf(contents) + ", not" + textOf(expected) + '\n';
        }
        if (openDescriptors() != descriptors) {
            problems_ += what_ + ": " + std::to_string(openDescriptors() - descriptors) +
                         " descriptors more\n";
        }
    }

    const Contents before_;
    const std::string whole_;
    std::string what_;
    std::string problems_;
};

/// For tests that run as root; others skip.
inline void expectOnDevices(const Contents& before, const std::string& whole,
                            const std::vector<Operation>& operations,
                            const std::function<void(Trial&, const Operation&)>& run) {
    VORN_REQUIRE_ROOT();
    const auto result = onDevice(kPlace, "size=64k", [&] {
        ::unsetenv("TMPDIR");
        Trial trial(before, whole);
        for (const auto& operation : operations) {
            run(trial, operation);
        }
        return trial.problems();
    });
    if (result.exitCode == kNoDevice) {
        GTEST_SKIP() << result.report;
    }
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.report, "");
}

/// That the operations end as they say on a device that lacks something, and work once it does not.
/// `before` is there at first; they store `whole`.
inline void expectWithout(Lack lack, const Contents& before, const std::string& whole,
                          const std::vector<Operation>& operations) {
    expectOnDevices(before, whole, operations, [lack](Trial& trial, const Operation& operation) {
        const auto refused = operation.without.find(lack);
        trial.run<NoRoom>(
            operation, lack,
            refused == operation.without.end() ? std::nullopt : std::optional(refused->second));
    });
}

/// The same in a process that has 0, 1, ... descriptors to spare.
inline void expectWithFewDescriptors(const Contents& before, const std::string& whole,
                                     const std::vector<Operation>& operations) {
    if (helpers::kAddressSanitizer) {
        GTEST_SKIP() << "the sanitizers of this build need descriptors for their own checks";
    }
    expectOnDevices(before, whole, operations, [](Trial& trial, const Operation& operation) {
        const auto& refused = operation.withDescriptors;
        for (std::size_t count = 0; count <= refused.size(); ++count) {
            trial.run<FewDescriptors>(
                operation, static_cast<int>(count),
                count < refused.size() ? std::optional(refused[count]) : std::nullopt);
        }
    });
}

}  // namespace files
