#include "kestrel/FileUtils.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <stdlib.h>

using kestrel::FileUtils;
namespace fs = std::filesystem;

TEST(FileUtilsTest, MkpathCreatesMissingDirectories) {
    char pattern[] = "/tmp/fileutils-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    std::string root = pattern;

    EXPECT_TRUE(FileUtils::mkpath(root + "/a/b/c/file.log", false));
    EXPECT_TRUE(fs::is_directory(root + "/a/b/c"));
    EXPECT_FALSE(fs::exists(root + "/a/b/c/file.log"));
    EXPECT_TRUE(FileUtils::mkpath(root + "/x/y", true));
    EXPECT_TRUE(fs::is_directory(root + "/x/y"));
    EXPECT_TRUE(FileUtils::mkpath(root + "/x/y", true)); // exists already

    // Nothing to create.
    EXPECT_TRUE(FileUtils::mkpath("", true));
    EXPECT_TRUE(FileUtils::mkpath("plainname", false));
    EXPECT_TRUE(FileUtils::mkpath("c:", true));

    // A directory below a regular file cannot be made.
    FILE* file = fopen((root + "/plain").c_str(), "w");
    ASSERT_NE(nullptr, file);
    fclose(file);
    EXPECT_FALSE(FileUtils::mkpath(root + "/plain/sub/deeper", true));

    fs::remove_all(root);
}
