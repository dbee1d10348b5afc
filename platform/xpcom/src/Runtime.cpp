// Starting and stopping the runtime, and the entry points that reach its one manager.
#include <mutex>
#include <string>

#include "ComponentManager.h"
#include "nsXPCOM.h"

namespace {

std::mutex gRuntimeLock;
xpcom::ComponentManager* gManager = nullptr;
// Survives shutdown so the host can still print why its last load failed.
std::string gLastLoaderError;

template <class Face>
nsresult GetFace(Face** aResult) {
  NS_ENSURE_ARG_POINTER(aResult);
  std::lock_guard<std::mutex> lock(gRuntimeLock);
  *aResult = nullptr;
  if (!gManager)
    return NS_ERROR_NOT_INITIALIZED;
  *aResult = static_cast<Face*>(gManager);
  gManager->AddRef();
  return NS_OK;
}

} // namespace

extern "C" {

nsresult NS_InitXPCOM2(nsIServiceManager** result, nsIFile*, nsIDirectoryServiceProvider*) {
  {
    std::lock_guard<std::mutex> lock(gRuntimeLock);
    if (gManager)
      return NS_ERROR_ALREADY_INITIALIZED;
    gManager = new xpcom::ComponentManager();
    gManager->AddRef();
    gLastLoaderError.clear();
  }
  return result ? GetFace(result) : NS_OK;
}

nsresult NS_ShutdownXPCOM(nsIServiceManager* servMgr) {
  xpcom::ComponentManager* manager;
  {
    std::lock_guard<std::mutex> lock(gRuntimeLock);
    if (!gManager)
      return NS_ERROR_NOT_INITIALIZED;
    manager = gManager;
    gManager = nullptr;
  }
  if (servMgr)
    servMgr->Release();
  manager->Shutdown();
  manager->Release();
  return NS_OK;
}

nsresult NS_GetServiceManager(nsIServiceManager** result) {
  return GetFace(result);
}
nsresult NS_GetComponentManager(nsIComponentManager** result) {
  return GetFace(result);
}
nsresult NS_GetComponentRegistrar(nsIComponentRegistrar** result) {
  return GetFace(result);
}

const char* NS_GetLastLoaderError(void) {
  std::lock_guard<std::mutex> lock(gRuntimeLock);
  if (gManager)
    gLastLoaderError = gManager->LastLoaderError();
  return gLastLoaderError.c_str();
}

nsresult NS_VisitRegisteredComponents(nsRegisteredComponentVisitor aVisitor, void* aClosure) {
  xpcom::ComponentManager* manager;
  {
    std::lock_guard<std::mutex> lock(gRuntimeLock);
    if (!gManager)
      return NS_ERROR_NOT_INITIALIZED;
    manager = gManager;
    manager->AddRef();
  }
  nsresult rv = manager->Visit(aVisitor, aClosure);
  manager->Release();
  return rv;
}
}
