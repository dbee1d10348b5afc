// Starting and stopping the component runtime, its managers, memory and local files.
#pragma once

#include "nsError.h"
#include "nsID.h"
#include "nscore.h"

class nsIServiceManager;
class nsIComponentManager;
class nsIComponentRegistrar;
class nsIDirectoryServiceProvider;
class nsIFile;
class nsILocalFile;
class nsACString;

extern "C" {

// Starts the runtime. Every out-parameter is optional; binDirectory and the provider are
// accepted and not used. Returns NS_ERROR_ALREADY_INITIALIZED if the runtime is running.
NS_EXPORT nsresult NS_InitXPCOM2(nsIServiceManager** result, nsIFile* binDirectory,
                                 nsIDirectoryServiceProvider* appFileLocationProvider);

// Releases every cached service and factory and every module, then unloads the bundles that
// were loaded. servMgr, if given, is released first. NS_ERROR_NOT_INITIALIZED if not running.
NS_EXPORT nsresult NS_ShutdownXPCOM(nsIServiceManager* servMgr);

// The runtime's one manager object, under each of its three faces, with a reference added.
NS_EXPORT nsresult NS_GetServiceManager(nsIServiceManager** result);
NS_EXPORT nsresult NS_GetComponentManager(nsIComponentManager** result);
NS_EXPORT nsresult NS_GetComponentRegistrar(nsIComponentRegistrar** result);

// Memory shared between the host and components: what one allocates the other may free.
NS_EXPORT void* NS_Alloc(PRSize size);
NS_EXPORT void* NS_Realloc(void* ptr, PRSize size);
NS_EXPORT void NS_Free(void* ptr); // null is accepted

// A file object for a native path (which need not exist). followLinks is recorded only.
NS_EXPORT nsresult NS_NewNativeLocalFile(const nsACString& path, PRBool followLinks,
                                         nsILocalFile** result);

// Why the last bundle failed to load: dlerror()'s text, or a sentence naming the missing
// entry point or the failed step. Empty when the last load succeeded or none was tried. The
// text stays valid until the next load.
NS_EXPORT const char* NS_GetLastLoaderError(void);

// What the runtime has registered, one call per class: for listing and diagnosis.
struct nsRegisteredComponentInfo {
  nsCID cid;
  const char* contractID; // the newest contract ID mapped to this class, or null
  const char* className;  // may be null
  const char* moduleName; // set for classes registered by a generic module, else null
  const char* location;   // the bundle's native path, or null for host-provided factories
};
typedef void (*nsRegisteredComponentVisitor)(const nsRegisteredComponentInfo* aInfo,
                                             void* aClosure);
NS_EXPORT nsresult NS_VisitRegisteredComponents(nsRegisteredComponentVisitor aVisitor,
                                                void* aClosure);
}

#define NS_XPCOM_STARTUP_OBSERVER_ID "xpcom-startup"
#define NS_XPCOM_SHUTDOWN_OBSERVER_ID "xpcom-shutdown"
