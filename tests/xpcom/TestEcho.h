// The interface and identities of the component that the test bundle provides.
#pragma once

#include "nsISupports.h"
#include "nsStringAPI.h"

// clang-format off
#define TEST_ECHO_IID {0x1d7c8a0e, 0x52b4, 0x4f0b, {0x8e, 0x2a, 0x61, 0x0c, 0x9d, 0x3e, 0x77, 0x01}}
#define TEST_ECHO_CID {0x1d7c8a0e, 0x52b4, 0x4f0b, {0x8e, 0x2a, 0x61, 0x0c, 0x9d, 0x3e, 0x77, 0x02}}
#define TEST_DATA_ONLY_CID {0x1d7c8a0e, 0x52b4, 0x4f0b, {0x8e, 0x2a, 0x61, 0x0c, 0x9d, 0x3e, 0x77, 0x03}}
// clang-format on
#define TEST_ECHO_CONTRACTID "@test/echo;1"
#define TEST_ECHO_CLASSNAME "Test Echo"
#define TEST_DATA_ONLY_CONTRACTID "@test/data-only;1"
#define TEST_MODULE_NAME "TestEchoModule"

class nsITestEcho : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(TEST_ECHO_IID)

  // aOut = aIn + "|echo", written by the bundle's own copy of the string code.
  NS_IMETHOD Echo(const nsACString& aIn, nsACString& aOut) = 0;
  // Fills aOut from a string the bundle made itself.
  NS_IMETHOD Greet(nsACString& aOut) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsITestEcho, TEST_ECHO_IID)
