// SPDX-License-Identifier: MIT
// Peer: GLib
// Guarantees: characters outside the alphabet are skipped and not told; memory that cannot be had
// ends the process. Encoding and decoding by pieces is possible.
#include <memory>

#include <glib.h>

#include "tasks.h"

std::string compared::peer::encodeBinary(const std::string& bytes) {
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), g_free);
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> decoded(g_base64_decode(text.get(), &size),
                                                             g_free);
    return text.get() + std::string(reinterpret_cast<const char*>(decoded.get()), size);
}
