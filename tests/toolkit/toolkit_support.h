// Helpers of the toolkit tests: checks of the error register and a
// temporary folder.
#pragma once

#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// Expect the register of the calling thread to hold part; the register is
// emptied and its text returned.
inline std::string expectLogged(const std::string& part)
{
    const std::string log = hl_errlog_string(0);
    hl_clear_register(0);
    EXPECT_NE(log.find(part), std::string::npos) << "no '" << part << "' in:\n" << log;
    return log;
}

// The strings of a table of C strings.
inline std::vector<std::string> tblStrings(Tbl* t)
{
    std::vector<std::string> out;
    for (long i = 0; i < seqcount(t); i++)
        out.emplace_back(static_cast<const char*>(seqget(t, i)));
    return out;
}

// A fresh folder under /tmp, removed with everything in it afterwards.
class Folder
{
public:
    Folder()
    {
        char templ[] = "/tmp/vxplot_test_XXXXXX";
        const char* made = mkdtemp(templ);
        EXPECT_NE(made, nullptr);
        path_ = made ? made : "/tmp";
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    const std::string& path() const { return path_; }
    // The database path of name in this folder.
    std::string base(const std::string& name = "db") const { return path_ + "/" + name; }
    // Write a table file of the database name; lines each get a new line.
    std::string table(const std::string& name, const std::string& table, const std::vector<std::string>& lines) const
    {
        std::string content;
        for (const std::string& l : lines)
            content += l + "\n";
        return write(base(name) + "." + table, content);
    }
    // Write a file, making the folders on its path; its path.
    static std::string write(const std::string& file, const std::string& content)
    {
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

private:
    std::string path_;
};

inline std::string readFile(const std::string& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}
