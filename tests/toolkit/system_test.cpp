// Services the toolkit takes from the C library as they are.
#include <VX.h>

#include <gtest/gtest.h>

#include <pwd.h>
#include <stdio.h>
#include <unistd.h>

TEST(UserName, CuseridNamesTheEffectiveUser)
{
    char name[L_cuserid + 8] = {};
    ASSERT_NE(cuserid(name), nullptr);
    struct passwd* pw = getpwuid(geteuid());
    ASSERT_NE(pw, nullptr);
    EXPECT_STREQ(name, pw->pw_name);
}
