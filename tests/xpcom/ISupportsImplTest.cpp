// The reference-counting and interface-map macros, on an object with two faces (one of them
// with a base interface) as the stream listeners have them.
#include <gtest/gtest.h>

#include "nsCOMPtr.h"
#include "nsIGenericFactory.h"

namespace {

// clang-format off
#define TEST_IID(n) {0x5a1e0c01, 0x7d2b, 0x4c11, {0x9a, 0x10, 0, 0, 0, 0, 0, n}}
// clang-format on

class nsITestBase : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(TEST_IID(1))
};
NS_DEFINE_STATIC_IID_ACCESSOR(nsITestBase, TEST_IID(1))

class nsITestDerived : public nsITestBase {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(TEST_IID(2))
};
NS_DEFINE_STATIC_IID_ACCESSOR(nsITestDerived, TEST_IID(2))

class nsITestOther : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(TEST_IID(3))
};
NS_DEFINE_STATIC_IID_ACCESSOR(nsITestOther, TEST_IID(3))

int gDestroyed = 0;

class TwoFaces final : public nsITestDerived, public nsITestOther {
  NS_DECL_ISUPPORTS

  nsrefcnt Count() const { return mRefCnt; }

private:
  // Takes and drops a reference while dying, as a member's destructor may.
  ~TwoFaces() {
    nsCOMPtr<nsITestOther> again = static_cast<nsITestOther*>(this);
    ++gDestroyed;
  }
};

NS_IMPL_ISUPPORTS3(TwoFaces, nsITestBase, nsITestDerived, nsITestOther)
NS_GENERIC_FACTORY_CONSTRUCTOR(TwoFaces)

TEST(ISupportsImpl, EachInterfaceIsAnsweredByItsFaceWithOneReference) {
  nsCOMPtr<nsITestOther> held = static_cast<nsITestOther*>(new TwoFaces);
  auto* object = static_cast<TwoFaces*>(held.get());
  nsISupports* primary = static_cast<nsITestDerived*>(object);
  nsISupports* other = static_cast<nsITestOther*>(object);
  ASSERT_NE(primary, other);

  struct Case {
    nsIID iid;
    nsISupports* face;
  } const cases[] = {{NS_GET_IID(nsITestBase), primary},
                     {NS_GET_IID(nsITestDerived), primary},
                     {NS_GET_IID(nsITestOther), other},
                     {NS_GET_IID(nsISupports), primary}};
  for (const Case& c : cases) {
    void* result = nullptr;
    EXPECT_EQ(object->QueryInterface(c.iid, &result), NS_OK);
    EXPECT_EQ(result, c.face);
    EXPECT_EQ(object->Count(), 2u);
    static_cast<nsISupports*>(result)->Release();
  }

  void* result = &result;
  const nsIID unknown = TEST_IID(4);
  EXPECT_EQ(object->QueryInterface(unknown, &result), NS_NOINTERFACE);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(object->Count(), 1u);
}

TEST(ISupportsImpl, TheGenericConstructorHandsOutTheOnlyReferenceOrNothing) {
  gDestroyed = 0;
  void* result = &result;
  const nsIID unknown = TEST_IID(4);
  EXPECT_EQ(TwoFacesConstructor(nullptr, unknown, &result), NS_NOINTERFACE);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(gDestroyed, 1) << "the object made for the refused interface";

  ASSERT_EQ(TwoFacesConstructor(nullptr, NS_GET_IID(nsITestOther), &result), NS_OK);
  auto* made = static_cast<nsITestOther*>(result);
  EXPECT_EQ(static_cast<TwoFaces*>(made)->Count(), 1u);
  made->Release();
  EXPECT_EQ(gDestroyed, 2);
}

} // namespace
