// The module's application object.
#pragma once

#if defined(KOR_WITH_MFC)
#include <afxwin.h>

/// The one object that stands for the loaded library. It adds nothing to the framework's, and loading never fails.
class CKORInterfaceApp : public CWinApp {
public:
    CKORInterfaceApp();
    BOOL InitInstance() override;
};

#else

/// The one object that stands for the loaded library. It holds nothing and does nothing: loading never fails.
class CKORInterfaceApp {
public:
    constexpr CKORInterfaceApp() = default;

    /// Returned  result  true
    bool InitInstance();
};

#endif

/// The object of this module, made when the module is loaded.
CKORInterfaceApp& korInterfaceApp();
