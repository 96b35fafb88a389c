// SPDX-License-Identifier: MIT
#include <vorn/common/fs/CachedFileManager.h>
#include <vorn/common/fs/IFile.h>
#include <vorn/common/fs/LockedFile.h>
#include <vorn/common/settings/JsonSettings.h>
#include <vorn/common/stream/StreamAccessors.h>
#include <vorn/common/stream/StreamableHandler.h>

#include "helpers/layout.h"

using namespace vorn::common;
using fs::CachedFileManager;
using fs::FileMutex;
using fs::IFile;
using fs::LockedFile;
using stream::FileOutputStreamAccessor;
using stream::IInputStreamAccessor;
using stream::IOutputStreamAccessor;
using stream::IStreamable;
using stream::StreamableHandler;
using ManagerOptions = CachedFileManager::Options;
using LockedOptions = LockedFile::Options;

template struct helpers::Fields<FileMutex, &FileMutex::record_, &FileMutex::owned_>;
template struct helpers::Fields<LockedFile, &LockedFile::path_, &LockedFile::mutex_,
                                &LockedFile::lock_, &LockedFile::stream_>;
template struct helpers::Fields<LockedOptions, &LockedOptions::mode, &LockedOptions::perms>;
template struct helpers::Fields<FileOutputStreamAccessor, &FileOutputStreamAccessor::buffer_,
                                &FileOutputStreamAccessor::path_, &FileOutputStreamAccessor::mode_,
                                &FileOutputStreamAccessor::permissions_,
                                &FileOutputStreamAccessor::tmpPath_>;
template struct helpers::Fields<StreamableHandler, &StreamableHandler::objectMutex_,
                                &StreamableHandler::cache_, &StreamableHandler::observer_>;
template struct helpers::Fields<CachedFileManager, &CachedFileManager::handlers_,
                                &CachedFileManager::mutex_, &CachedFileManager::changed_,
                                &CachedFileManager::wakeUp_, &CachedFileManager::thread_>;
template struct helpers::Fields<ManagerOptions, &ManagerOptions::saveDefaults,
                                &ManagerOptions::openMode, &ManagerOptions::permissions,
                                &ManagerOptions::writeDelay, &ManagerOptions::fallbackPath,
                                &ManagerOptions::useBackup>;

namespace {

struct Settings : settings::JsonSettings {
    using JsonSettings::loadSettings;
    using JsonSettings::saveSettings;
};

}  // namespace

TEST(FilesLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(7);
}

TEST(FilesLayout, VirtualOperationsStandInOrder) {
    EXPECT_EQ(helpers::slotOf(&IFile::setPath), 2u);
    EXPECT_EQ(helpers::slotOf(&IFile::getPath), 3u);
    EXPECT_EQ(helpers::slotOf(&IStreamable::serialize), 2u);
    EXPECT_EQ(helpers::slotOf(&IStreamable::deserialize), 3u);
    EXPECT_EQ(helpers::slotOf(&Settings::loadSettings), 4u);
    EXPECT_EQ(helpers::slotOf(&Settings::saveSettings), 5u);
    EXPECT_EQ(helpers::slotOf(&IInputStreamAccessor::stream), 2u);
    EXPECT_EQ(helpers::slotOf(&IOutputStreamAccessor::stream), 2u);
    EXPECT_EQ(helpers::slotOf(&IOutputStreamAccessor::commit), 3u);
    EXPECT_EQ(helpers::slotOf(&StreamableHandler::onCacheExpirationTimepointChange), 2u);
    EXPECT_EQ(helpers::slotOf(&StreamableHandler::Observer::onRunTimepointChange), 2u);
    EXPECT_EQ(helpers::slotOf(&CachedFileManager::onRunTimepointChange), 2u);
}
