// A factory that counts its references and lifetimes: it stands in for any component, and the
// objects it makes are Counted too, carrying the factory's value so they can be told apart.
#pragma once

#include "nsCOMPtr.h"
#include "nsIFactory.h"
#include "nsServiceManagerUtils.h"

struct Tally {
  int made = 0;
  int destroyed = 0;
};

class Counted final : public nsIFactory {
  NS_DECL_ISUPPORTS

  // aReenter: a contract ID whose service CreateInstance asks for before making anything.
  explicit Counted(Tally* aTally = nullptr, int aValue = 0, const char* aReenter = nullptr)
      : mTally(aTally), mValue(aValue), mReenter(aReenter) {
    if (mTally)
      ++mTally->made;
  }

  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& aIID, void** aResult) override {
    *aResult = nullptr;
    if (aOuter)
      return NS_ERROR_NO_AGGREGATION;
    if (mReenter)
      nsCOMPtr<nsIFactory> self = do_GetService(mReenter, &mReentryResult);
    nsCOMPtr<nsIFactory> made = new Counted(mTally, mValue);
    return made->QueryInterface(aIID, aResult);
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

  nsrefcnt Count() const { return mRefCnt; }
  static int ValueOf(nsISupports* aObject) {
    return aObject ? static_cast<Counted*>(static_cast<nsIFactory*>(aObject))->mValue : -1;
  }
  nsresult mReentryResult = NS_OK;

private:
  ~Counted() {
    if (mTally)
      ++mTally->destroyed;
  }
  Tally* mTally;
  int mValue;
  const char* mReenter;
};
