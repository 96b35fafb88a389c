// SPDX-License-Identifier: MIT
#include "identifiers/Uuid_statics.h"

#include <cstdio>

#include <vorn/common/Uuid.h>

namespace statics {

namespace {

using vorn::common::Uuid;

std::string allTexts() {
    std::string all;
    for (const Uuid& uuid : {Uuid(), Uuid::NIL, Uuid::UNKNOWN, Uuid::VORN_NAMESPACE}) {
        all += uuid.to_hex() + " " + uuid.to_string() + " " + uuid.base64() + " " +
               uuid.base64URL() + "\n";
    }
    return all + Uuid(Uuid::VORN_NAMESPACE, "x").to_string();
}

/// Runs before the initialisers of every other file, and its destructor after all others.
class Witness {
  public:
    Witness() : texts(allTexts()) {}
    ~Witness() {
        if (reports) {
            std::fputs((allTexts() == texts ? "the same at exit: " : "changed: "), stderr);
            std::fputs(copy.to_string().c_str(), stderr);
        }
    }

    std::string texts;
    Uuid copy = Uuid::VORN_NAMESPACE;
    bool reports = false;
};

__attribute__((init_priority(101))) Witness witness;

}  // namespace

const std::string& textsBeforeMain() {
    return witness.texts;
}

void reportAtExit() {
    witness.reports = true;
}

}  // namespace statics
