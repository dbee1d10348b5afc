// Every public header, compiled together, so a broken header fails the library's build.
#include "nsCOMPtr.h"
#include "nsComponentManagerUtils.h"
#include "nsError.h"
#include "nsIChannel.h"
#include "nsIComponentManager.h"
#include "nsIComponentRegistrar.h"
#include "nsID.h"
#include "nsIFactory.h"
#include "nsIFile.h"
#include "nsIGenericFactory.h"
#include "nsIInputStream.h"
#include "nsIJunkMailPlugin.h"
#include "nsILocalFile.h"
#include "nsIMIMEHeaderParam.h"
#include "nsIMimeMiscStatus.h"
#include "nsIModule.h"
#include "nsIMsgFilterPlugin.h"
#include "nsIMsgFolder.h"
#include "nsIMsgHdr.h"
#include "nsIMsgHeaderSink.h"
#include "nsIMsgMailNewsUrl.h"
#include "nsIMsgMessageService.h"
#include "nsIMsgWindow.h"
#include "nsIPrefBranch.h"
#include "nsIPrefService.h"
#include "nsIRequest.h"
#include "nsIRequestObserver.h"
#include "nsIServiceManager.h"
#include "nsISimpleEnumerator.h"
#include "nsIStreamListener.h"
#include "nsIStringEnumerator.h"
#include "nsISupports.h"
#include "nsIURI.h"
#include "nsIURL.h"
#include "nsIUrlListener.h"
#include "nsMemory.h"
#include "nsServiceManagerUtils.h"
#include "nsStringAPI.h"
#include "nsXPCOM.h"
#include "nscore.h"
#include "plstr.h"
#include "prtypes.h"

static_assert(sizeof(PRBool) == 4 && sizeof(nsresult) == 4 && sizeof(nsrefcnt) == 4);
static_assert(sizeof(PRUnichar) == 2 && sizeof(nsID) == 16);
static_assert(NS_ERROR_FILE_NOT_FOUND == 0x80520012);
static_assert(NS_MODULEINFO_VERSION == 0x00015000UL);

// Instantiates the templates the way components use them.
[[maybe_unused]] static nsresult UseTemplates(nsISupports* aThing) {
  nsresult rv;
  nsCOMPtr<nsIPrefBranch> branch = do_GetService(NS_PREFSERVICE_CONTRACTID, &rv);
  nsCOMPtr<nsIPrefService> service = do_QueryInterface(branch, &rv);
  nsCOMPtr<nsIPrefBranch> root;
  if (service)
    rv = service->GetBranch(nullptr, getter_AddRefs(root));
  nsCOMPtr<nsIModule> module = do_CreateInstance("@example/none;1");
  nsCOMPtr<nsISupports> same(aThing);
  nsIPrefBranch* raw = nullptr;
  CallQueryInterface(aThing, &raw);
  NS_IF_RELEASE(raw);
  nsCString text("a:b");
  text.Truncate(PRUint32(text.FindChar(':')));
  return (root == nullptr || module != nullptr || same == aThing) && text.Equals("a") ? rv : NS_OK;
}
