// Export macro of the library's public classes.
//
// A shared build exports what carries KORINTERFACE_API and hides everything else. A host that links the
// static library on Windows defines KORINTERFACE_STATIC; elsewhere nothing needs defining.
#ifndef KORINTERFACE_EXPORT_H
#define KORINTERFACE_EXPORT_H

#if defined(KORINTERFACE_STATIC)
#define KORINTERFACE_API
#elif defined(_WIN32)
#if defined(KORINTERFACE_EXPORTS)
#define KORINTERFACE_API __declspec(dllexport)
#else
#define KORINTERFACE_API __declspec(dllimport)
#endif
#else
#define KORINTERFACE_API __attribute__((visibility("default")))
#endif

#endif
