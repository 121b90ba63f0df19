// What marks a class or function as part of the library's binary interface.
//
// The shared library is built with hidden visibility: only what carries KRXML_API is
// exported. Put it between the class key and the name, and in front of a free function or
// variable declared in a public header:
//
//     class KRXML_API CSomething : public CXmlObjectBase { ... };
//     KRXML_API std::string SomeHelper(const char* lpText);
//     extern KRXML_API bool g_bSomeSwitch;
//
// A class that is exported exports its members and its type information, so that a derived
// class or a catch block in another module finds them. Templates defined in headers need no
// mark; a function template that the library instantiates explicitly takes it on its
// declaration. Classes of the library's own private headers stay unmarked.
//
// Linking the static library defines KRXML_STATIC (its CMake target and the --static flags of
// the pkg-config file do), and the mark is then empty.
#ifndef KRXMLLIB_KRXMLEXPORT_H
#define KRXMLLIB_KRXMLEXPORT_H

#if defined(KRXML_STATIC)
#define KRXML_API
#elif defined(__GNUC__)
#define KRXML_API __attribute__((visibility("default")))
#else
#define KRXML_API
#endif

#endif
