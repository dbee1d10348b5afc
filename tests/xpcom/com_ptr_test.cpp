// nsCOMPtr: every path must leave reference counts balanced.
#include <gtest/gtest.h>

#include "nsCOMPtr.h"
#include "nsIFactory.h"
#include "nsIModule.h"

namespace {

// Counts its references and records its destruction.
class Counted final : public nsIFactory {
public:
  explicit Counted(bool* aDestroyed = nullptr) : mDestroyed(aDestroyed) {}

  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aResult) override {
    if (aIID.Equals(NS_GET_IID(nsIFactory)) || aIID.Equals(NS_GET_IID(nsISupports))) {
      *aResult = static_cast<nsIFactory*>(this);
      AddRef();
      return NS_OK;
    }
    *aResult = nullptr;
    return NS_ERROR_NO_INTERFACE;
  }
  NS_IMETHOD_(nsrefcnt) AddRef() override { return ++mCount; }
  NS_IMETHOD_(nsrefcnt) Release() override {
    if (--mCount)
      return mCount;
    if (mDestroyed)
      *mDestroyed = true;
    delete this;
    return 0;
  }
  NS_IMETHOD CreateInstance(nsISupports*, const nsIID&, void**) override {
    return NS_ERROR_NOT_IMPLEMENTED;
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

  nsrefcnt Count() const { return mCount; }

private:
  ~Counted() = default;
  nsrefcnt mCount = 0;
  bool* mDestroyed;
};

nsresult MakeOne(Counted* aObject, nsIFactory** aResult) {
  *aResult = aObject;
  aObject->AddRef();
  return NS_OK;
}

TEST(ComPtr, HoldsExactlyOneReference) {
  bool destroyed = false;
  auto* object = new Counted(&destroyed);
  {
    nsCOMPtr<nsIFactory> a(object);
    EXPECT_EQ(object->Count(), 1u);
    {
      nsCOMPtr<nsIFactory> b = a;
      nsCOMPtr<nsIFactory> c;
      c = b;
      EXPECT_EQ(object->Count(), 3u);
      EXPECT_TRUE(a == b);
      EXPECT_TRUE(c == object);
      EXPECT_TRUE(object == c);
    }
    EXPECT_EQ(object->Count(), 1u);
    a = a.get(); // self-assignment must not drop the last reference first
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(object->Count(), 1u);
    a = a;
    EXPECT_EQ(object->Count(), 1u);
  }
  EXPECT_TRUE(destroyed);
}

TEST(ComPtr, GetterAddRefsReleasesWhatWasHeld) {
  bool firstGone = false;
  bool secondGone = false;
  auto* first = new Counted(&firstGone);
  auto* second = new Counted(&secondGone);
  nsCOMPtr<nsIFactory> p(first);
  ASSERT_EQ(MakeOne(second, getter_AddRefs(p)), NS_OK);
  EXPECT_TRUE(firstGone);
  EXPECT_EQ(second->Count(), 1u) << "the out-parameter's reference is adopted";
  p = nullptr;
  EXPECT_TRUE(secondGone);
  EXPECT_TRUE(p == nullptr);
  EXPECT_FALSE(p);
}

TEST(ComPtr, ForgetSwapAndMoveTransferOwnership) {
  bool destroyed = false;
  auto* object = new Counted(&destroyed);
  nsCOMPtr<nsIFactory> a(object);
  nsIFactory* raw = nullptr;
  a.forget(&raw);
  EXPECT_EQ(a.get(), nullptr);
  EXPECT_EQ(object->Count(), 1u);

  nsCOMPtr<nsIFactory> b = already_AddRefed<nsIFactory>(raw);
  EXPECT_EQ(object->Count(), 1u);
  nsCOMPtr<nsIFactory> c;
  c.swap(b);
  EXPECT_EQ(b.get(), nullptr);
  EXPECT_EQ(c.get(), object);
  nsCOMPtr<nsIFactory> d(std::move(c));
  EXPECT_EQ(c.get(), nullptr);
  EXPECT_EQ(object->Count(), 1u);

  nsIFactory* out = nullptr;
  d.CopyTo(&out);
  EXPECT_EQ(object->Count(), 2u);
  out->Release();
  d = nullptr;
  EXPECT_TRUE(destroyed);
}

TEST(ComPtr, QueryInterfaceReportsThroughTheErrorVariable) {
  bool destroyed = false;
  auto* object = new Counted(&destroyed);
  nsCOMPtr<nsIFactory> held(object);

  nsresult rv = NS_ERROR_FAILURE;
  nsCOMPtr<nsISupports> same = do_QueryInterface(held, &rv);
  EXPECT_EQ(rv, NS_OK);
  EXPECT_EQ(static_cast<void*>(same.get()), static_cast<void*>(object));
  EXPECT_EQ(object->Count(), 2u);

  nsCOMPtr<nsIModule> none = do_QueryInterface(held, &rv);
  EXPECT_EQ(rv, NS_ERROR_NO_INTERFACE);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(object->Count(), 2u) << "a refused query takes no reference";

  nsCOMPtr<nsIFactory> fromNull = do_QueryInterface(nullptr, &rv);
  EXPECT_TRUE(NS_FAILED(rv));
  EXPECT_EQ(fromNull.get(), nullptr);

  same = nullptr;
  held = nullptr;
  EXPECT_TRUE(destroyed);
}

} // namespace
