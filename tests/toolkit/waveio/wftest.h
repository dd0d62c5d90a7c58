// A scratch CSS 3.0 database in a temporary folder, for the loader tests.
#pragma once

#include "toolkit/store/recordstore.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/waveio/wfgap.h"
#include "toolkit/waveio/wfload.h"

#include <gtest/gtest.h>

#include <cstdlib>
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
        db_ = rsopen((dir_ + "/db").c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        ASSERT_FALSE(rsisinvalid(db_)) << hl_errlog_string(0);
    }
    void TearDown() override { rsclose(db_); }
    std::string write(const std::string& name, const std::string& b) { return folder_.write(dir_ + "/" + name, b); }
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
    Folder folder_;
    std::string dir_ = folder_.path();
    Rsptr db_{};
};
