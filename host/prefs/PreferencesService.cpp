#include "prefs/PreferencesService.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <nsCOMPtr.h>
#include <nsIComponentRegistrar.h>
#include <nsIFactory.h>
#include <nsIFile.h>
#include <nsStringAPI.h>
#include <nsXPCOM.h>
#include <unistd.h>
#include <unix/AtomicFile.h>
#include <unix/RetryingIO.h>

namespace mailhost {
namespace {

char* copyForCaller(const std::string& text) {
  auto* copy = static_cast<char*>(NS_Alloc(text.size() + 1));
  if (copy)
    std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

nsresult nativePath(nsIFile* aFile, std::string& aPath) {
  nsCString path;
  nsresult rv = aFile->GetNativePath(path);
  if (NS_SUCCEEDED(rv))
    aPath.assign(path.get(), path.Length());
  return rv;
}

int prefType(const PrefValue& aValue) {
  switch (aValue.index()) {
  case 0:
    return nsIPrefBranch::PREF_STRING;
  case 1:
    return nsIPrefBranch::PREF_INT;
  default:
    return nsIPrefBranch::PREF_BOOL;
  }
}

// A branch other than the root: keeps the service, and so the store, alive.
class PrefBranch final : public PrefBranchBase {
public:
  PrefBranch(PreferencesService* aService, PreferenceStore& aStore, std::string aRoot,
             PreferenceStore::Layer aLayer)
      : PrefBranchBase(aStore, std::move(aRoot), aLayer), mService(aService) {}

  NS_DECL_ISUPPORTS

private:
  ~PrefBranch() = default;
  nsCOMPtr<nsIPrefService> mService;
};

// Hands out the one service object for every request, as the host's service manager expects
// of a service's factory.
class PreferencesServiceFactory final : public nsIFactory {
public:
  explicit PreferencesServiceFactory(PreferencesService* aService) : mService(aService) {}

  NS_DECL_ISUPPORTS
  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& aIID, void** aResult) override {
    *aResult = nullptr;
    if (aOuter)
      return NS_ERROR_NO_AGGREGATION;
    return mService->QueryInterface(aIID, aResult);
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

private:
  ~PreferencesServiceFactory() = default;
  nsCOMPtr<nsIPrefService> mService;
};

NS_IMPL_ISUPPORTS1(PrefBranch, nsIPrefBranch)

NS_IMPL_ISUPPORTS1(PreferencesServiceFactory, nsIFactory)

// {1cd91b88-1dd2-11b2-92e1-ed22ed298000}
constexpr nsCID kPreferencesServiceCID = {
    0x1cd91b88, 0x1dd2, 0x11b2, {0x92, 0xe1, 0xed, 0x22, 0xed, 0x29, 0x80, 0x00}};

} // namespace

// ---- branches ----

std::string PrefBranchBase::fullName(const char* aPrefName) const {
  return mRoot + aPrefName;
}

template <class T>
nsresult PrefBranchBase::read(const char* aPrefName, T* aResult) const {
  NS_ENSURE_ARG_POINTER(aPrefName);
  NS_ENSURE_ARG_POINTER(aResult);
  auto value = mStore.get(fullName(aPrefName), mLayer);
  if (!value || !std::holds_alternative<T>(*value))
    return NS_ERROR_UNEXPECTED;
  *aResult = std::get<T>(*value);
  return NS_OK;
}

nsresult PrefBranchBase::write(const char* aPrefName, const PrefValue& aValue) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  return mStore.set(fullName(aPrefName), aValue, mLayer) ? NS_OK : NS_ERROR_UNEXPECTED;
}

NS_IMETHODIMP PrefBranchBase::GetRoot(char** aRoot) {
  *aRoot = copyForCaller(mRoot);
  return *aRoot ? NS_OK : NS_ERROR_OUT_OF_MEMORY;
}

NS_IMETHODIMP PrefBranchBase::GetPrefType(const char* aPrefName, PRInt32* aResult) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  auto value = mStore.get(fullName(aPrefName), mLayer);
  *aResult = value ? prefType(*value) : PREF_INVALID;
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::GetBoolPref(const char* aPrefName, PRBool* aResult) {
  bool value = false;
  nsresult rv = read(aPrefName, &value);
  if (NS_SUCCEEDED(rv))
    *aResult = value ? PR_TRUE : PR_FALSE;
  return rv;
}

NS_IMETHODIMP PrefBranchBase::SetBoolPref(const char* aPrefName, PRInt32 aValue) {
  return write(aPrefName, aValue != 0);
}

NS_IMETHODIMP PrefBranchBase::GetCharPref(const char* aPrefName, char** aResult) {
  std::string value;
  nsresult rv = read(aPrefName, &value);
  NS_ENSURE_SUCCESS(rv, rv);
  *aResult = copyForCaller(value);
  return *aResult ? NS_OK : NS_ERROR_OUT_OF_MEMORY;
}

NS_IMETHODIMP PrefBranchBase::SetCharPref(const char* aPrefName, const char* aValue) {
  NS_ENSURE_ARG_POINTER(aValue);
  return write(aPrefName, std::string(aValue));
}

NS_IMETHODIMP PrefBranchBase::GetIntPref(const char* aPrefName, PRInt32* aResult) {
  return read(aPrefName, aResult);
}

NS_IMETHODIMP PrefBranchBase::SetIntPref(const char* aPrefName, PRInt32 aValue) {
  return write(aPrefName, std::int32_t{aValue});
}

// Complex values (localised strings, files) have no use in this host yet.
NS_IMETHODIMP PrefBranchBase::GetComplexValue(const char*, const nsIID&, void** aValue) {
  *aValue = nullptr;
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP PrefBranchBase::SetComplexValue(const char*, const nsIID&, nsISupports*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP PrefBranchBase::ClearUserPref(const char* aPrefName) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  mStore.clearUserValue(fullName(aPrefName));
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::LockPref(const char* aPrefName) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  mStore.setLocked(fullName(aPrefName), true);
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::PrefHasUserValue(const char* aPrefName, PRBool* aResult) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  *aResult = mStore.hasUserValue(fullName(aPrefName)) ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::PrefIsLocked(const char* aPrefName, PRBool* aResult) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  *aResult = mStore.isLocked(fullName(aPrefName)) ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::UnlockPref(const char* aPrefName) {
  NS_ENSURE_ARG_POINTER(aPrefName);
  mStore.setLocked(fullName(aPrefName), false);
  return NS_OK;
}

NS_IMETHODIMP PrefBranchBase::DeleteBranch(const char* aStartingAt) {
  NS_ENSURE_ARG_POINTER(aStartingAt);
  mStore.deleteNamesStartingWith(fullName(aStartingAt));
  return NS_OK;
}

// Names come back relative to this branch's root, in an array the caller frees with NS_Free
// (each name, then the array).
NS_IMETHODIMP PrefBranchBase::GetChildList(const char* aStartingAt, PRUint32* aCount,
                                           char*** aChildArray) {
  NS_ENSURE_ARG_POINTER(aStartingAt);
  NS_ENSURE_ARG_POINTER(aCount);
  NS_ENSURE_ARG_POINTER(aChildArray);
  std::vector<std::string> names = mStore.namesStartingWith(fullName(aStartingAt));
  auto** array = static_cast<char**>(NS_Alloc(sizeof(char*) * (names.empty() ? 1 : names.size())));
  if (!array)
    return NS_ERROR_OUT_OF_MEMORY;
  for (std::size_t i = 0; i < names.size(); ++i) {
    array[i] = copyForCaller(names[i].substr(mRoot.size()));
    if (!array[i]) {
      for (std::size_t j = 0; j < i; ++j)
        NS_Free(array[j]);
      NS_Free(array);
      return NS_ERROR_OUT_OF_MEMORY;
    }
  }
  *aCount = static_cast<PRUint32>(names.size());
  *aChildArray = array;
  return NS_OK;
}

// As in the host of this era, resetting a branch is not offered.
NS_IMETHODIMP PrefBranchBase::ResetBranch(const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

// ---- the service ----

PreferencesService::PreferencesService(std::string aPrefsFilePath, PrefsDiagnostics aDiagnostics)
    : PrefBranchBase(mStore, "", PreferenceStore::Layer::Effective),
      mPrefsFilePath(std::move(aPrefsFilePath)), mDiagnostics(std::move(aDiagnostics)) {
  readFile(mPrefsFilePath);
}

// The service is also the root branch.
NS_IMPL_ISUPPORTS2(PreferencesService, nsIPrefService, nsIPrefBranch)

nsresult PreferencesService::readFile(const std::string& aPath) {
  int fd = open(aPath.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT)
      return NS_OK; // a new profile has no prefs.js yet
    mDiagnostics(aPath + ": cannot read: " + std::strerror(errno));
    return NS_ERROR_FAILURE;
  }
  std::string text;
  if (!os::readToEnd(fd, text, text.max_size())) {
    mDiagnostics(aPath + ": cannot read: " + std::strerror(errno));
    close(fd);
    return NS_ERROR_FAILURE;
  }
  close(fd);
  PrefsFileContents contents = parsePrefsFile(text);
  for (const PrefSyntaxError& error : contents.errors)
    mDiagnostics(aPath + ":" + std::to_string(error.line) + ": " + error.message);
  mStore.apply(contents);
  return NS_OK;
}

NS_IMETHODIMP PreferencesService::ReadUserPrefs(nsIFile* aFile) {
  if (!aFile) {
    mStore.clearUserValues();
    return readFile(mPrefsFilePath);
  }
  std::string path;
  nsresult rv = nativePath(aFile, path);
  return NS_FAILED(rv) ? rv : readFile(path);
}

NS_IMETHODIMP PreferencesService::ResetPrefs() {
  mStore.clear();
  return NS_OK;
}

NS_IMETHODIMP PreferencesService::ResetUserPrefs() {
  mStore.clearUserValues();
  return NS_OK;
}

NS_IMETHODIMP PreferencesService::SavePrefFile(nsIFile* aFile) {
  std::string path = mPrefsFilePath;
  if (aFile) {
    nsresult rv = nativePath(aFile, path);
    NS_ENSURE_SUCCESS(rv, rv);
  }
  // Written beside the target and renamed over it, so a crash never leaves half a file and two
  // saves never share a temporary; the profile's preferences are the user's alone (0600).
  std::string error;
  if (!os::writeFileAtomically(path,
                               "// Preferences of this mail host profile, rewritten on save.\n" +
                                   mStore.userValuesAsPrefsFile(),
                               &error)) {
    mDiagnostics(error);
    return NS_ERROR_FAILURE;
  }
  return NS_OK;
}

nsresult PreferencesService::makeBranch(const char* aPrefRoot, PreferenceStore::Layer aLayer,
                                        nsIPrefBranch** aResult) {
  NS_ENSURE_ARG_POINTER(aResult);
  if ((!aPrefRoot || !*aPrefRoot) && aLayer == PreferenceStore::Layer::Effective) {
    *aResult = static_cast<nsIPrefBranch*>(this);
    AddRef();
    return NS_OK;
  }
  auto* branch = new PrefBranch(this, mStore, aPrefRoot ? aPrefRoot : "", aLayer);
  *aResult = branch;
  branch->AddRef();
  return NS_OK;
}

NS_IMETHODIMP PreferencesService::GetBranch(const char* aPrefRoot, nsIPrefBranch** aResult) {
  return makeBranch(aPrefRoot, PreferenceStore::Layer::Effective, aResult);
}

NS_IMETHODIMP PreferencesService::GetDefaultBranch(const char* aPrefRoot, nsIPrefBranch** aResult) {
  return makeBranch(aPrefRoot, PreferenceStore::Layer::Default, aResult);
}

nsresult registerPreferencesService(const std::string& aPrefsFilePath,
                                    PrefsDiagnostics aDiagnostics) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  NS_ENSURE_SUCCESS(rv, rv);
  auto* service = new PreferencesService(aPrefsFilePath, std::move(aDiagnostics));
  nsCOMPtr<nsIFactory> factory = new PreferencesServiceFactory(service);
  return registrar->RegisterFactory(kPreferencesServiceCID, "Preferences Service",
                                    "@mozilla.org/preferences-service;1", factory);
}

} // namespace mailhost
