// The application object as it is with MFC.
#include "module/Application.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

static_assert(std::is_base_of_v<CWinApp, CKORInterfaceApp>);
static_assert(sizeof(CKORInterfaceApp) == sizeof(CWinApp), "no members of its own");

TEST(FrameworkApplication, isMadeOnceBeforeAnyUseAndWithoutAName)
{
    EXPECT_EQ(CWinApp::s_made, 1);
    EXPECT_EQ(korInterfaceApp().m_name, nullptr);
    EXPECT_EQ(CWinApp::s_made, 1);
}

TEST(FrameworkApplication, startsTheFrameworkAndSucceedsWhateverThatReturns)
{
    CWinApp& application = korInterfaceApp();
    ASSERT_EQ(application.CWinApp::InitInstance(), FALSE);
    const int before = CWinApp::s_started;
    EXPECT_EQ(application.InitInstance(), TRUE);
    EXPECT_EQ(CWinApp::s_started, before + 1);
}

} // namespace
