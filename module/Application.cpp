#include "module/Application.h"

namespace {

CKORInterfaceApp theApplication;

} // namespace

CKORInterfaceApp& korInterfaceApp()
{
    return theApplication;
}

#if defined(KOR_WITH_MFC)

CKORInterfaceApp::CKORInterfaceApp() = default;

BOOL CKORInterfaceApp::InitInstance()
{
    CWinApp::InitInstance();
    return TRUE;
}

#else

bool CKORInterfaceApp::InitInstance()
{
    return true;
}

#endif
