#include "module/Application.h"

#include <gtest/gtest.h>

namespace {

TEST(Application, isOneObject)
{
    EXPECT_EQ(&korInterfaceApp(), &korInterfaceApp());
}

TEST(Application, startsWithoutFailing)
{
    EXPECT_TRUE(korInterfaceApp().InitInstance());
    EXPECT_TRUE(korInterfaceApp().InitInstance()) << "a second start";
}

} // namespace
