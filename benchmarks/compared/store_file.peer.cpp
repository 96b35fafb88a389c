// SPDX-License-Identifier: MIT
// Peer: GLib
// Guarantees: after a crash or a power cut the file is the version before or the new one, complete;
// when the call returns, the new one and its name are on the disk; there is no backup. A failure is
// told and leaves the version before.
#include <memory>
#include <stdexcept>

#include <glib.h>

#include "tasks.h"

std::string compared::peer::storeFile(const std::string& path) {
    const std::string text = "{\"apn\":\"internet\"}";
    const auto flags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                          G_FILE_SET_CONTENTS_DURABLE);
    if (g_file_set_contents_full(path.c_str(), text.data(), static_cast<gssize>(text.size()), flags,
                                 0600, nullptr) == FALSE) {
        throw std::runtime_error("cannot store " + path);
    }
    gchar* stored = nullptr;
    gsize size = 0;
    if (g_file_get_contents(path.c_str(), &stored, &size, nullptr) == FALSE) {
        throw std::runtime_error("cannot read " + path);
    }
    const std::unique_ptr<gchar, decltype(&g_free)> owner(stored, g_free);
    return std::string(stored, size);
}
