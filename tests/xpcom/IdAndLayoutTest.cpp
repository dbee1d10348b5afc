// Interface identities and vtable slot positions: a plug-in and its host only agree if both
// match the host's binary layout exactly.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "nsIChannel.h"
#include "nsIComponentManager.h"
#include "nsIComponentRegistrar.h"
#include "nsIFactory.h"
#include "nsIFile.h"
#include "nsIGenericFactory.h"
#include "nsIInputStream.h"
#include "nsIJunkMailPlugin.h"
#include "nsIMIMEHeaderParam.h"
#include "nsIMimeMiscStatus.h"
#include "nsIModule.h"
#include "nsIMsgMailNewsUrl.h"
#include "nsIMsgMessageService.h"
#include "nsIMsgWindow.h"
#include "nsIPrefBranch.h"
#include "nsIPrefService.h"
#include "nsIServiceManager.h"
#include "nsIStreamListener.h"
#include "nsIStringEnumerator.h"
#include "nsIURL.h"
#include "nsIUrlListener.h"
#include "nsXPCOM.h"

namespace {

std::string Text(const nsID& aID) {
  char buf[NSID_LENGTH];
  aID.ToProvidedString(buf);
  return buf;
}

struct IIDCase {
  const char* name;
  const nsIID& iid;
  const char* text;
};

#define IID_CASE(T, text)                                                                          \
  IIDCase {                                                                                        \
#T, NS_GET_IID(T), text                                                                        \
  }

TEST(InterfaceIDs, MatchTheHostsIdentities) {
  const IIDCase cases[] = {
      IID_CASE(nsISupports, "{00000000-0000-0000-c000-000000000046}"),
      IID_CASE(nsIFactory, "{00000001-0000-0000-c000-000000000046}"),
      IID_CASE(nsIModule, "{7392d032-5371-11d3-994e-00805fd26fee}"),
      IID_CASE(nsIComponentManager, "{a88e5a60-205a-4bb1-94e1-2628daf51eae}"),
      IID_CASE(nsIServiceManager, "{8bb35ed9-e332-462d-9155-4a002ab5c958}"),
      IID_CASE(nsIComponentRegistrar, "{2417cbfe-65ad-48a6-b4b6-eb84db174392}"),
      IID_CASE(nsIFile, "{c8c0a080-0868-11d3-915f-d9d889d48e3c}"),
      IID_CASE(nsIGenericFactory, "{3bc97f00-ccdf-11d2-bab8-b548654461fc}"),
      IID_CASE(nsIMsgFilterPlugin, "{e2e56690-a676-11d6-80c9-00008646b737}"),
      IID_CASE(nsIJunkMailPlugin, "{caf3d467-d57c-11d6-96a9-00039310a47a}"),
      IID_CASE(nsIJunkMailClassificationListener, "{0243f3d6-d583-11d6-898a-00039310a47a}"),
      IID_CASE(nsIMsgWindow, "{bce0ab71-11ff-428e-9edc-69abad73b697}"),
      IID_CASE(nsIMsgMessageService, "{f11009c1-f697-11d2-807f-006008128c4e}"),
      IID_CASE(nsIMsgMailNewsUrl, "{6cffceb0-cb8c-11d2-8065-006008128c4e}"),
      IID_CASE(nsIMsgHeaderSink, "{c3c4473c-fe01-4afc-bf91-c811baebef63}"),
      IID_CASE(nsIUrlListener, "{47618220-d008-11d2-8069-006008128c4e}"),
      IID_CASE(nsIMIMEHeaderParam, "{ddbbdfb8-a1c0-4dd5-a31b-5d2a7a3bb6ec}"),
      IID_CASE(nsIPrefBranch, "{56c35506-f14b-11d3-99d3-ddbfac2ccf65}"),
      IID_CASE(nsIPrefService, "{decb9cc7-c08f-4ea5-be91-a8fc637ce2d2}"),
      IID_CASE(nsIRequestObserver, "{fd91e2e0-1481-11d3-9333-00104ba0fd40}"),
      IID_CASE(nsIStreamListener, "{1a637020-1482-11d3-9333-00104ba0fd40}"),
      IID_CASE(nsIRequest, "{ef6bfbd2-fd46-48d8-96b7-9f8f0fd387fe}"),
      IID_CASE(nsIChannel, "{c63a055a-a676-4e71-bf3c-6cfa11082018}"),
      IID_CASE(nsIURI, "{07a22cc0-0ce5-11d3-9331-00104ba0fd40}"),
      IID_CASE(nsIURL, "{d6116970-8034-11d3-9399-00104ba0fd40}"),
      IID_CASE(nsIInputStream, "{fa9c7f6c-61b3-11d4-9877-00c04fa0cf4a}"),
      IID_CASE(nsIUTF8StringEnumerator, "{9bdf1010-3695-4907-95ed-83d0410ec307}"),
      IID_CASE(nsIStringEnumerator, "{50d3ef6c-9380-4f06-9fb2-95488f7d141c}"),
  };
  for (const IIDCase& c : cases) {
    EXPECT_EQ(Text(c.iid), c.text) << c.name;
  }
}

// On the Itanium C++ ABI a pointer to a virtual member function holds 1 + the byte offset of
// its slot in the vtable; that gives each method's slot number without calling it.
template <class PMF>
long Slot(PMF aMethod) {
  static_assert(sizeof(PMF) == 2 * sizeof(ptrdiff_t));
  ptrdiff_t words[2];
  memcpy(words, &aMethod, sizeof words);
  EXPECT_EQ(words[0] % ptrdiff_t(sizeof(void*)), 1) << "not a virtual function";
  return long((words[0] - 1) / ptrdiff_t(sizeof(void*)));
}

struct SlotCase {
  const char* name;
  long slot;
  long expected;
};

#define SLOT(method, expected)                                                                     \
  SlotCase {                                                                                       \
#method, Slot(&method), expected                                                               \
  }

void ExpectSlots(std::initializer_list<SlotCase> aCases) {
  for (const SlotCase& c : aCases)
    EXPECT_EQ(c.slot, c.expected) << c.name;
}

TEST(SlotLayout, JunkMailPluginHasExactlyTenSlots) {
  ExpectSlots({
      SLOT(nsIJunkMailPlugin::QueryInterface, 0),
      SLOT(nsIJunkMailPlugin::AddRef, 1),
      SLOT(nsIJunkMailPlugin::Release, 2),
      SLOT(nsIJunkMailPlugin::Shutdown, 3),
      SLOT(nsIJunkMailPlugin::GetShouldDownloadAllHeaders, 4),
      SLOT(nsIJunkMailPlugin::ClassifyMessage, 5),
      SLOT(nsIJunkMailPlugin::ClassifyMessages, 6),
      SLOT(nsIJunkMailPlugin::SetMessageClassification, 7),
      SLOT(nsIJunkMailPlugin::GetUserHasClassified, 8),
      SLOT(nsIJunkMailPlugin::ResetTrainingData, 9),
      SLOT(nsIJunkMailClassificationListener::OnMessageClassified, 3),
  });
  EXPECT_EQ(unsigned(nsIJunkMailPlugin::UNCLASSIFIED), 0u);
  EXPECT_EQ(unsigned(nsIJunkMailPlugin::GOOD), 1u);
  EXPECT_EQ(unsigned(nsIJunkMailPlugin::JUNK), 2u);
}

TEST(SlotLayout, HeaderSinkHasTheElevenSlotList) {
  ExpectSlots({
      SLOT(nsIMsgHeaderSink::ProcessHeaders, 3),
      SLOT(nsIMsgHeaderSink::HandleAttachment, 4),
      SLOT(nsIMsgHeaderSink::OnEndAllAttachments, 5),
      SLOT(nsIMsgHeaderSink::OnEndMsgHeaders, 6),
      SLOT(nsIMsgHeaderSink::OnEndMsgDownload, 7),
      SLOT(nsIMsgHeaderSink::GetSecurityInfo, 8),
      SLOT(nsIMsgHeaderSink::SetSecurityInfo, 9),
      SLOT(nsIMsgHeaderSink::OnMsgHasRemoteContent, 10),
      SLOT(nsIMsgHeaderSink::GetDummyMsgHeader, 11),
  });
}

TEST(SlotLayout, MessageStreamingPathMatchesTheHost) {
  ExpectSlots({
      SLOT(nsIMsgMessageService::CopyMessage, 3),
      SLOT(nsIMsgMessageService::StreamMessage, 11),
      SLOT(nsIMsgMessageService::MessageURIToMsgHdr, 12),
      SLOT(nsIMsgMailNewsUrl::RegisterListener, 47),
      SLOT(nsIMsgMailNewsUrl::GetMsgHeaderSink, 82),
      SLOT(nsIMsgMailNewsUrl::SetMsgHeaderSink, 83),
      SLOT(nsIURL::GetFilePath, 29),
      SLOT(nsIURL::GetRelativeSpec, 46),
      SLOT(nsIURI::GetOriginCharset, 28),
      SLOT(nsIRequest::SetLoadFlags, 12),
      SLOT(nsIChannel::GetURI, 15),
      SLOT(nsIChannel::AsyncOpen, 28),
      SLOT(nsIStreamListener::OnStartRequest, 3),
      SLOT(nsIStreamListener::OnStopRequest, 4),
      SLOT(nsIStreamListener::OnDataAvailable, 5),
      SLOT(nsIInputStream::Read, 5),
      SLOT(nsIInputStream::IsNonBlocking, 7),
      SLOT(nsIUTF8StringEnumerator::HasMore, 3),
      SLOT(nsIUTF8StringEnumerator::GetNext, 4),
      SLOT(nsIUrlListener::OnStopRunningUrl, 4),
  });
}

TEST(SlotLayout, ComponentAndPreferenceInterfaces) {
  ExpectSlots({
      SLOT(nsIFactory::CreateInstance, 3),
      SLOT(nsIFactory::LockFactory, 4),
      SLOT(nsIModule::GetClassObject, 3),
      SLOT(nsIModule::CanUnload, 6),
      SLOT(nsIComponentManager::CreateInstanceByContractID, 6),
      SLOT(nsIServiceManager::GetServiceByContractID, 4),
      SLOT(nsIPrefBranch::GetIntPref, 9),
      SLOT(nsIPrefBranch::ResetBranch, 20),
      SLOT(nsIPrefService::GetBranch, 7),
      SLOT(nsIPrefService::GetDefaultBranch, 8),
      SLOT(nsIMIMEHeaderParam::DecodeParameter, 6),
  });
}

// The generic-module records must have the host's field offsets (format 0x00015000).
TEST(SlotLayout, ModuleRecordsUseTheHostsFieldOrder) {
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mDescription), 0u);
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mCID), sizeof(void*));
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mContractID), sizeof(void*) + 16);
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mConstructor), 2 * sizeof(void*) + 16);
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mClassInfoGlobal), 8 * sizeof(void*) + 16);
  EXPECT_EQ(offsetof(nsModuleComponentInfo, mFlags), 9 * sizeof(void*) + 16);
  EXPECT_EQ(offsetof(nsModuleInfo, mVersion), 0u);
  EXPECT_EQ(offsetof(nsModuleInfo, mModuleName), sizeof(void*));
  EXPECT_EQ(offsetof(nsModuleInfo, mCount), 3 * sizeof(void*));
  EXPECT_EQ(offsetof(nsModuleInfo, mDtor), 5 * sizeof(void*));
}

} // namespace
