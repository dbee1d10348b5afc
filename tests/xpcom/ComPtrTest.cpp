// nsCOMPtr: every path must leave reference counts balanced.
#include <gtest/gtest.h>

#include "Counted.h"
#include "nsIModule.h"

namespace {

TEST(ComPtr, CopiesAssignmentsAndGetterAddRefsBalance) {
  Tally tally;
  auto* object = new Counted(&tally);
  {
    nsCOMPtr<nsIFactory> a(object);
    {
      nsCOMPtr<nsIFactory> b = a;
      nsCOMPtr<nsIFactory> c;
      c = b;
      EXPECT_EQ(object->Count(), 3u);
      EXPECT_TRUE(a == b && c == object && object == c);
    }
    EXPECT_EQ(object->Count(), 1u);
    a = a.get(); // self-assignment must not drop the last reference first
    a = a;
    EXPECT_EQ(object->Count(), 1u);

    // getter_AddRefs releases what was held and adopts the out-parameter's reference.
    auto* second = new Counted(&tally);
    second->QueryInterface(NS_GET_IID(nsIFactory), getter_AddRefs(a));
    EXPECT_EQ(tally.destroyed, 1);
    EXPECT_EQ(second->Count(), 1u);
  }
  EXPECT_EQ(tally.destroyed, 2);
}

TEST(ComPtr, QueryInterfaceReportsThroughTheErrorVariable) {
  Tally tally;
  auto* object = new Counted(&tally);
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
  EXPECT_EQ(tally.destroyed, 1);
}

} // namespace
