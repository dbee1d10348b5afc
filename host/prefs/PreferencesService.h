// The host's preferences service: one object that answers both nsIPrefService and nsIPrefBranch
// (the root branch), registered under "@mozilla.org/preferences-service;1" and backed by the
// profile's prefs.js. Sub-branches and default branches are views on the same store.
#pragma once

#include "prefs/PreferenceStore.h"

#include <functional>
#include <nsIPrefBranch.h>
#include <nsIPrefService.h>
#include <string>

namespace mailhost {

// Receives one line per problem found in a preferences file ("<file>:<line>: <message>").
using PrefsDiagnostics = std::function<void(const std::string&)>;

// nsIPrefBranch over a store, under a name prefix, on the effective or the default layer.
// Reference counting is left to the classes below.
class PrefBranchBase : public nsIPrefBranch {
public:
  NS_IMETHOD GetRoot(char** aRoot) override;
  NS_IMETHOD GetPrefType(const char* aPrefName, PRInt32* aResult) override;
  NS_IMETHOD GetBoolPref(const char* aPrefName, PRBool* aResult) override;
  NS_IMETHOD SetBoolPref(const char* aPrefName, PRInt32 aValue) override;
  NS_IMETHOD GetCharPref(const char* aPrefName, char** aResult) override;
  NS_IMETHOD SetCharPref(const char* aPrefName, const char* aValue) override;
  NS_IMETHOD GetIntPref(const char* aPrefName, PRInt32* aResult) override;
  NS_IMETHOD SetIntPref(const char* aPrefName, PRInt32 aValue) override;
  NS_IMETHOD GetComplexValue(const char* aPrefName, const nsIID& aType, void** aValue) override;
  NS_IMETHOD SetComplexValue(const char* aPrefName, const nsIID& aType,
                             nsISupports* aValue) override;
  NS_IMETHOD ClearUserPref(const char* aPrefName) override;
  NS_IMETHOD LockPref(const char* aPrefName) override;
  NS_IMETHOD PrefHasUserValue(const char* aPrefName, PRBool* aResult) override;
  NS_IMETHOD PrefIsLocked(const char* aPrefName, PRBool* aResult) override;
  NS_IMETHOD UnlockPref(const char* aPrefName) override;
  NS_IMETHOD DeleteBranch(const char* aStartingAt) override;
  NS_IMETHOD GetChildList(const char* aStartingAt, PRUint32* aCount, char*** aChildArray) override;
  NS_IMETHOD ResetBranch(const char* aStartingAt) override;

protected:
  PrefBranchBase(PreferenceStore& aStore, std::string aRoot, PreferenceStore::Layer aLayer)
      : mStore(aStore), mRoot(std::move(aRoot)), mLayer(aLayer) {}
  ~PrefBranchBase() = default;

private:
  std::string fullName(const char* aPrefName) const;
  template <class T>
  nsresult read(const char* aPrefName, T* aResult) const;
  nsresult write(const char* aPrefName, const PrefValue& aValue);

  PreferenceStore& mStore;
  std::string mRoot;
  PreferenceStore::Layer mLayer;
};

class PreferencesService final : public nsIPrefService, public PrefBranchBase {
public:
  // prefs.js is read at once; a missing file is an empty profile.
  PreferencesService(std::string aPrefsFilePath, PrefsDiagnostics aDiagnostics);

  NS_DECL_ISUPPORTS

  NS_IMETHOD ReadUserPrefs(nsIFile* aFile) override;
  NS_IMETHOD ResetPrefs() override;
  NS_IMETHOD ResetUserPrefs() override;
  NS_IMETHOD SavePrefFile(nsIFile* aFile) override;
  NS_IMETHOD GetBranch(const char* aPrefRoot, nsIPrefBranch** aResult) override;
  NS_IMETHOD GetDefaultBranch(const char* aPrefRoot, nsIPrefBranch** aResult) override;

  const PreferenceStore& store() const { return mStore; }

private:
  ~PreferencesService() = default;
  nsresult readFile(const std::string& aPath);
  nsresult makeBranch(const char* aPrefRoot, PreferenceStore::Layer aLayer,
                      nsIPrefBranch** aResult);

  PreferenceStore mStore;
  std::string mPrefsFilePath;
  PrefsDiagnostics mDiagnostics;
};

// Makes the service for a profile's prefs.js and registers a factory for it under the host's
// contract ID for preferences. Returns the registrar's result.
nsresult registerPreferencesService(const std::string& aPrefsFilePath,
                                    PrefsDiagnostics aDiagnostics);

} // namespace mailhost
