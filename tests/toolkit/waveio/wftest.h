// A scratch CSS 3.0 database in a temporary folder, for the loader tests.
#pragma once

#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfgap.h"
#include "toolkit/waveio/wfload.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// What one wfload_scratch() call gave.
struct Loaded
{
    int rc = 0;
    std::vector<float> samples;
    double ts = -1.0, te = -1.0;
    long nsamp = -1;
    std::string message;  // the register after the call
};

class WaveDbTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char templ[] = "/tmp/vxplot_waveio_XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir_ = templ;
        db_ = rsopen((dir_ + "/db").c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        ASSERT_FALSE(rsisinvalid(db_)) << hl_errlog_string(0);
    }
    void TearDown() override
    {
        rsclose(db_);
        std::filesystem::remove_all(dir_);
    }
    std::string write(const std::string& name, const std::string& bytes)
    {
        std::string path = dir_ + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    // Set the wfdisc scratch row.
    void row(const char* datatype, const char* dfile, long foff, long nsamp, double time = 1000.0,
             double samprate = 10.0, const char* dir = ".")
    {
        Rsptr wf = rslookup(db_, nullptr, "wfdisc", nullptr, "rsSCRATCH");
        ASSERT_EQ(rsputv(wf, nullptr, "sta", "STA", "chan", "BHZ", "time", time, "nsamp", nsamp, "samprate", samprate,
                         "datatype", datatype, "dir", dir, "dfile", dfile, "foff", foff, nullptr),
                  0)
            << hl_errlog_string(0);
    }
public:
    // One wfload_scratch() of db's scratch row in [t0, t1] (0, 0: all of it).
    static Loaded load(Rsptr db, double t0 = 0.0, double t1 = 0.0)
    {
        Loaded l;
        float* data = nullptr;
        hl_clear_register(0);
        l.rc = wfload_scratch(db, 0, &data, nullptr, &l.ts, &l.te, t0, t1, &l.nsamp);
        l.message = hl_errlog_string(0);
        hl_clear_register(0);
        if (l.rc > 0 && data)
            l.samples.assign(data, data + l.rc);
        free(data);
        return l;
    }
    Loaded load(double t0 = 0.0, double t1 = 0.0) { return load(db_, t0, t1); }

protected:
    std::string dir_;
    Rsptr db_{};
};
