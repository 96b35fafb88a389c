// SPDX-License-Identifier: MIT
#include <vorn/common/DynamicLibrary.h>
#include <vorn/common/IPlugin.h>
#include <vorn/common/SecureString.h>
#include <vorn/common/cipher/CipherProxy.h>

#include "helpers/layout.h"

using namespace vorn::common;
using cipher::CipherProxy;
using cipher::ICipher;

template struct helpers::Fields<DynamicLibraryConfig, &DynamicLibraryConfig::path,
                                &DynamicLibraryConfig::args>;
template struct helpers::Fields<DynamicLibrary, &DynamicLibrary::path_, &DynamicLibrary::handle_,
                                &DynamicLibrary::object_>;
template struct helpers::Fields<SecureString, &SecureString::cipher_, &SecureString::ciphered_>;
// A plug-in's clone() makes one: a table and a pointer.
template struct helpers::Fields<CipherProxy, &CipherProxy::cipher_>;
static_assert(sizeof(CipherProxy) == 2 * sizeof(void*));

TEST(PluginsLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(4);
}

TEST(PluginsLayout, VirtualOperationsStandInOrder) {
    EXPECT_EQ(helpers::slotOf(&IPlugin::getCipher), 2u);
    EXPECT_EQ(helpers::slotOf(&ICipher::encrypt), 2u);
    EXPECT_EQ(helpers::slotOf(&ICipher::decrypt), 3u);
    EXPECT_EQ(helpers::slotOf(&ICipher::clone), 4u);
    EXPECT_EQ(helpers::slotOf(&CipherProxy::clone), 4u);
}
