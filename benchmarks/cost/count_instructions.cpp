// SPDX-License-Identifier: MIT

// A plug-in of the user-mode emulator: writes the number of instructions of one repetition, a line
// for each operation, to the file that the argument "out=" names. Counted is the first thread
// alone. The same program gives the same figure whatever the machine's processor and load.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "mark.h"

// The part of the emulator's plug-in interface, version 1, that is used here.
extern "C" {

struct qemu_plugin_tb;
struct qemu_info_t;
using qemu_plugin_id_t = std::uint64_t;

std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t, qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_cb(qemu_plugin_tb* block, void (*callback)(unsigned, void*),
                                          int flags, void* data);
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t id,
                                          void (*callback)(qemu_plugin_id_t, unsigned, std::int64_t,
                                                           std::uint64_t, std::uint64_t,
                                                           std::uint64_t, std::uint64_t,
                                                           std::uint64_t, std::uint64_t,
                                                           std::uint64_t, std::uint64_t));

#define EXPORT __attribute__((visibility("default")))
EXPORT extern int qemu_plugin_version;
EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv);

}  // extern "C"

namespace {

std::FILE* out = nullptr;
std::uint64_t instructions = 0;
std::uint64_t atMark = 0;
std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
int rounds = 0;
bool between = false;

void executed(unsigned processor, void* count) {
    if (processor == 0) {
        instructions += reinterpret_cast<std::uintptr_t>(count);
    }
}

void translated(qemu_plugin_id_t, qemu_plugin_tb* block) {
    constexpr int kReadsNoRegisters = 0;
    qemu_plugin_register_vcpu_tb_exec_cb(block, executed, kReadsNoRegisters,
                                         reinterpret_cast<void*>(qemu_plugin_tb_n_insns(block)));
}

void called(qemu_plugin_id_t, unsigned processor, std::int64_t, std::uint64_t argument,
            std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
            std::uint64_t, std::uint64_t) {
    if (processor != 0 || argument != cost::kMark) {
        return;
    }
    if (between) {
        least = std::min(least, instructions - atMark);
        if (++rounds == cost::kRounds) {
            std::fprintf(out, "%.0f\n", static_cast<double>(least) / cost::kRepetitions);
            std::fflush(out);
            rounds = 0;
            least = std::numeric_limits<std::uint64_t>::max();
        }
    }
    between = !between;
    atMark = instructions;
}

}  // namespace

int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t*, int argc, char** argv) {
    constexpr const char kOut[] = "out=";
    if (argc == 1 && std::strncmp(argv[0], kOut, sizeof kOut - 1) == 0) {
        out = std::fopen(argv[0] + sizeof kOut - 1, "we");
    }
    if (out == nullptr) {
        return 1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_vcpu_syscall_cb(id, called);
    return 0;
}
