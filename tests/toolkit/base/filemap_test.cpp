// Read-only maps of whole files.
#include "support/testsupport.h"
#include "toolkit/base/filemap.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>

namespace {

struct FilemapTest : ::testing::Test
{
    std::string file(const std::string& name, const std::string& content)
    {
        std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    QTemporaryDir tmp_;
    std::string dir_ = tmp_.path().toStdString();
};

TEST_F(FilemapTest, MapsWholeFile)
{
    std::string content("P5\n2 2\n255\n\x01\x00\xff\x7f", 15);
    std::string path = file("image.pgm", content);
    const void* data = nullptr;
    size_t size = 0;
    Filemap* map = filemap_open(path.c_str(), 0, &data, &size);
    ASSERT_NE(map, nullptr) << hl_errlog_string(0);
    ASSERT_EQ(size, content.size());
    EXPECT_EQ(std::memcmp(data, content.data(), size), 0);
    EXPECT_EQ(filemap_close(map), 0);
    EXPECT_EQ(filemap_close(nullptr), 0);
}

TEST_F(FilemapTest, EmptyFileSucceedsWithoutData)
{
    std::string path = file("empty", "");
    const void* data = &path;
    size_t size = 99;
    Filemap* map = filemap_open(path.c_str(), 0, &data, &size);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(filemap_close(map), 0);
}

TEST_F(FilemapTest, FailuresAreRegistered)
{
    struct Case { const char* name; std::string path; const char* reason; } cases[] = {
        {"missing file", dir_ + "/missing", "No such file or directory"}, {"directory", dir_, "Is a directory"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const void* data = &c;
        size_t size = 5;
        EXPECT_EQ(filemap_open(c.path.c_str(), 0, &data, &size), nullptr);
        EXPECT_EQ(takeErrors(), "filemap_open: Cannot open '" + c.path + "': " + c.reason + ".\n");
        EXPECT_TRUE(data == &c && size == 5u);  // outputs untouched
    }
    const void* data = nullptr;
    size_t size = 0;
    EXPECT_EQ(filemap_open(nullptr, 0, &data, &size), nullptr);
    EXPECT_EQ(filemap_open("x", 0, nullptr, &size), nullptr);
}

} // namespace
