// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/common/fs/CachedFileManager.h>

#include "files/streamables.h"
#include "helpers/TempDir.h"
#include "helpers/environment.h"

namespace vorn::common::fs {
namespace {

using files::Other;
using files::textOf;
using helpers::contentOf;
using helpers::TempDir;
using namespace std::chrono_literals;

constexpr int kTypes = 6;
// Emulated and instrumented threads are many times slower.
constexpr int kRounds = helpers::kForeign || helpers::kThreadSanitizer ? 40 : 200;

CachedFileManager::Options quick() {
    CachedFileManager::Options options;
    options.writeDelay = 1ms;
    return options;
}

template <class Call>
bool succeeds(Call call) {
    try {
        call();
        return true;
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return false;
}

/// What one thread does with one type.
struct Ops {
    std::function<void(CachedFileManager&, const std::string&)> add;
    std::type_index type;
};

template <int... N>
std::vector<Ops> makeOps(std::integer_sequence<int, N...>) {
    return {Ops{[](CachedFileManager& files, const std::string& path) {
                    files.add(std::make_unique<Other<N>>("0"), path, quick());
                },
                typeid(Other<N>)}...};
}

TEST(CachedFileManagerThreads, OfTwoAddsOfOneTypeOneSucceeds) {
    const TempDir dir;
    for (int round = 0; round < kRounds / 4; ++round) {
        CachedFileManager files;
        std::atomic<int> added{0};
        std::vector<std::thread> threads;
        const auto path = dir.write("a", "text:" + std::to_string(round));
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                added += succeeds(
                    [&] { files.add(std::make_unique<Other<0>>("default"), path, quick()); });
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(added, 1);
        EXPECT_EQ(textOf(files.getHandler(typeid(Other<0>)).lock()).content, std::to_string(round));
        EXPECT_EQ(contentOf(path), "text:" + std::to_string(round)) << "nothing is lost";
    }
}

// Every type is increased by several threads, flushed by another one and written by the loop.
TEST(CachedFileManagerThreads, WritersAndFlushersLoseNothing) {
    const TempDir dir;
    const auto ops = makeOps(std::make_integer_sequence<int, kTypes>());
    {
        CachedFileManager files;
        for (std::size_t i = 0; i < ops.size(); ++i) {
            ops[i].add(files, dir.file(std::to_string(i)));
        }
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&, thread] {
                for (int round = 0; round < kRounds; ++round) {
                    const auto& type = ops[static_cast<std::size_t>(round % kTypes)].type;
                    const auto locked = files.getHandler(type).lock();
                    auto& content = textOf(locked).content;
                    content = std::to_string(std::stoi(content) + 1);
                    locked.write(std::chrono::milliseconds(round % 3));
                    if (thread == 0 && round % 10 == 0) {
                        locked.flush();
                    }
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }
    int sum = 0;
    for (int i = 0; i < kTypes; ++i) {
        sum += std::stoi(contentOf(dir.file(std::to_string(i))).substr(5));
    }
    EXPECT_EQ(sum, 4 * kRounds);
}

// Adders and removers of the same types at once, each type's users among them: what is removed has
// been written, and is loaded again by the next add.
TEST(CachedFileManagerThreads, AddersAndRemoversLoseNothing) {
    const TempDir dir;
    const auto ops = makeOps(std::make_integer_sequence<int, kTypes>());
    std::atomic<int> increments{0};
    {
        CachedFileManager files;
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < ops.size(); ++i) {
            // The type's owner: nobody else removes it, so that its references stay valid.
            threads.emplace_back([&, i] {
                for (int round = 0; round < kRounds / 4; ++round) {
                    EXPECT_TRUE(succeeds([&] { ops[i].add(files, dir.file(std::to_string(i))); }));
                    {
                        const auto locked = files.getHandler(ops[i].type).lock();
                        auto& content = textOf(locked).content;
                        content = std::to_string(std::stoi(content) + 1);
                        ++increments;
                        locked.write(round % 2 == 0 ? 0ms : 1h);
                    }
                    files.remove(ops[i].type);
                }
            });
        }
        std::atomic<bool> stop{false};
        std::thread meddler([&] {
            while (!stop) {
                EXPECT_FALSE(succeeds([&] { files.remove(typeid(int)); }));
                EXPECT_TRUE(succeeds([&] {
                    files.add(std::make_unique<Other<kTypes>>("0"), dir.file("more"), quick());
                }));
                files.getHandler(typeid(Other<kTypes>)).lock().write(0ms);
                files.onRunTimepointChange();
                files.remove(typeid(Other<kTypes>));
            }
        });
        for (auto& thread : threads) {
            thread.join();
        }
        stop = true;
        meddler.join();
    }
    int sum = 0;
    for (int i = 0; i < kTypes; ++i) {
        sum += std::stoi(contentOf(dir.file(std::to_string(i))).substr(5));
    }
    EXPECT_EQ(sum, increments);
}

TEST(CachedFileManagerThreads, ConcurrentRemovesOfOneType) {
    const TempDir dir;
    CachedFileManager files;
    for (int round = 0; round < kRounds / 4; ++round) {
        files.add(std::make_unique<Other<0>>("0"), dir.file("a"), quick());
        files.getHandler(typeid(Other<0>)).lock().write(1h);
        std::atomic<int> removed{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back(
                [&] { removed += succeeds([&] { files.remove(typeid(Other<0>)); }); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(removed, 1);
    }
}

}  // namespace
}  // namespace vorn::common::fs
