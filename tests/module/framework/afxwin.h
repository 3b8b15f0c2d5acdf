// Stands for the framework's header where there is no MFC: what the module uses of it, counting.
#pragma once

using BOOL = int;
constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;

class CWinApp {
public:
    explicit CWinApp(const wchar_t* name = nullptr) : m_name(name) { ++s_made; }
    virtual ~CWinApp() = default;
    CWinApp(const CWinApp&) = delete;
    CWinApp& operator=(const CWinApp&) = delete;

    virtual BOOL InitInstance()
    {
        ++s_started;
        return FALSE;
    }

    const wchar_t* m_name;
    inline static int s_made = 0;
    inline static int s_started = 0;
};
