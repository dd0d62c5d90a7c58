// Checks of the calling thread's error register, for the toolkit tests.
#pragma once

#include "toolkit/base/errors.h"

#include <gtest/gtest.h>

#include <string>

// Expect the register of the calling thread to hold part; the register is
// emptied and its text returned.
inline std::string expectLogged(const std::string& part)
{
    const std::string log = hl_errlog_string(0);
    hl_clear_register(0);
    EXPECT_NE(log.find(part), std::string::npos) << "no '" << part << "' in:\n" << log;
    return log;
}
