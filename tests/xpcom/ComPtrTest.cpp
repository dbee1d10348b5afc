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

} // namespace
