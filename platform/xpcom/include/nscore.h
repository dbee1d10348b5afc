// Base types and method-declaration macros of the host's component ABI (g++ / Itanium C++ ABI).
#pragma once

#include "prtypes.h"

typedef PRUint32 nsresult;
typedef PRUint32 nsrefcnt;
typedef PRUint16 PRUnichar;

#define nsnull nullptr

#define NS_EXPORT __attribute__((visibility("default")))
#define NS_IMPORT NS_EXPORT
#define NS_HIDDEN __attribute__((visibility("hidden")))
#define NS_COM NS_EXPORT
#define NS_COM_GLUE NS_EXPORT
#define NS_EXTERNAL_VIS NS_EXPORT
#define NS_SCRIPTABLE
#define NS_NO_VTABLE

// Interface methods are plain virtual functions returning nsresult; on x86-64 and the other
// Linux targets there is no special calling convention to add.
#define NS_IMETHOD_(type) virtual type
#define NS_IMETHOD NS_IMETHOD_(nsresult)
#define NS_IMETHODIMP_(type) type
#define NS_IMETHODIMP NS_IMETHODIMP_(nsresult)
#define NS_METHOD_(type) type
#define NS_METHOD NS_METHOD_(nsresult)
#define NS_FROZENCALL
#define NS_CALLBACK_(type, name) type(*name)
#define NS_CALLBACK(name) NS_CALLBACK_(nsresult, name)

#define NS_STATIC_CAST(type, value) static_cast<type>(value)
#define NS_CONST_CAST(type, value) const_cast<type>(value)
#define NS_REINTERPRET_CAST(type, value) reinterpret_cast<type>(value)
