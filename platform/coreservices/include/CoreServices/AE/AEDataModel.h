/* Descriptors, lists, records and Apple Events: building them, reading them, coercing their
   data, and flattening them to bytes. Numbers and four-character codes inside descriptor data
   are in the host's byte order; the flattened form is big-endian (docs/flattened-descriptors.md).
 */
#pragma once

#include <CoreServices/MacErrors.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef ResType DescType;
typedef FourCharCode AEKeyword;
typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef SInt16 AEReturnID;
typedef SInt32 AETransactionID;
typedef SInt32 AESendMode;
typedef SInt16 AESendPriority;
typedef void* SRefCon;

typedef struct OpaqueAEDataStorageType* AEDataStorageType;
typedef AEDataStorageType* AEDataStorage;

typedef struct AEDesc {
  DescType descriptorType;
  AEDataStorage dataHandle;
} AEDesc;
typedef AEDesc* AEDescPtr;

typedef struct AEKeyDesc {
  AEKeyword descKey;
  AEDesc descContent;
} AEKeyDesc;

typedef AEDesc AEDescList;
typedef AEDescList AERecord;
typedef AEDesc AEAddressDesc;
typedef AERecord AppleEvent;
typedef AppleEvent* AppleEventPtr;

enum {
  typeBoolean = 0x626F6F6C,                     /* 'bool' */
  typeChar = 0x54455854,                        /* 'TEXT' */
  typeSInt16 = 0x73686F72,                      /* 'shor' */
  typeShortInteger = 0x73686F72,                /* 'shor' */
  typeSMInt = 0x73686F72,                       /* 'shor' */
  typeUInt16 = 0x75736872,                      /* 'ushr' */
  typeSInt32 = 0x6C6F6E67,                      /* 'long' */
  typeLongInteger = 0x6C6F6E67,                 /* 'long' */
  typeInteger = 0x6C6F6E67,                     /* 'long' */
  typeUInt32 = 0x6D61676E,                      /* 'magn' */
  typeMagnitude = 0x6D61676E,                   /* 'magn' */
  typeSInt64 = 0x636F6D70,                      /* 'comp' */
  typeComp = 0x636F6D70,                        /* 'comp' */
  typeUInt64 = 0x75636F6D,                      /* 'ucom' */
  typeIEEE32BitFloatingPoint = 0x73696E67,      /* 'sing' */
  typeShortFloat = 0x73696E67,                  /* 'sing' */
  typeIEEE64BitFloatingPoint = 0x646F7562,      /* 'doub' */
  typeFloat = 0x646F7562,                       /* 'doub' */
  typeLongFloat = 0x646F7562,                   /* 'doub' */
  typeUnicodeText = 0x75747874,                 /* 'utxt' */
  typeUTF8Text = 0x75746638,                    /* 'utf8' */
  typeUTF16ExternalRepresentation = 0x75743136, /* 'ut16' */
  typeAEList = 0x6C697374,                      /* 'list' */
  typeAERecord = 0x7265636F,                    /* 'reco' */
  typeAppleEvent = 0x61657674,                  /* 'aevt' */
  typeTrue = 0x74727565,                        /* 'true' */
  typeFalse = 0x66616C73,                       /* 'fals' */
  typeEnumerated = 0x656E756D,                  /* 'enum' */
  typeType = 0x74797065,                        /* 'type' */
  typeKeyword = 0x6B657977,                     /* 'keyw' */
  typeProperty = 0x70726F70,                    /* 'prop' */
  typeData = 0x74647461,                        /* 'tdta' */
  typeWildCard = 0x2A2A2A2A,                    /* '****' */
  typeApplSignature = 0x7369676E,               /* 'sign' */
  typeProcessSerialNumber = 0x70736E20,         /* 'psn ' */
  typeKernelProcessID = 0x6B706964,             /* 'kpid' */
  typeMachPort = 0x706F7274,                    /* 'port' */
  typeApplicationBundleID = 0x62756E64,         /* 'bund' */
  typeNull = 0x6E756C6C                         /* 'null' */

};

enum {
  keyTransactionIDAttr = 0x7472616E,   /* 'tran' */
  keyReturnIDAttr = 0x72746964,        /* 'rtid' */
  keyEventClassAttr = 0x6576636C,      /* 'evcl' */
  keyEventIDAttr = 0x65766964,         /* 'evid' */
  keyAddressAttr = 0x61646472,         /* 'addr' */
  keyOptionalKeywordAttr = 0x6F70746B, /* 'optk' */
  keyTimeoutAttr = 0x74696D6F,         /* 'timo' */
  keyInteractLevelAttr = 0x696E7465,   /* 'inte' */
  keyEventSourceAttr = 0x65737263,     /* 'esrc' */
  keyMissedKeywordAttr = 0x6D697373,   /* 'miss' */
  keyOriginalAddressAttr = 0x66726F6D, /* 'from' */
  keyReplyRequestedAttr = 0x72657071,  /* 'repq' */
  keySenderPIDAttr = 0x73706964,       /* 'spid' */
  keySenderEUIDAttr = 0x73656964,      /* 'seid' */
  keySenderEGIDAttr = 0x73676964,      /* 'sgid' */
  keySenderUIDAttr = 0x75696473,       /* 'uids' */
  keySenderGIDAttr = 0x67696473        /* 'gids' */

};

enum { kAutoGenerateReturnID = -1, kAnyTransactionID = 0 };

/* Send modes: the reply mode is the low two bits, the interaction level the 0x30 field. */
enum {
  kAENoReply = 0x00000001,
  kAEQueueReply = 0x00000002,
  kAEWaitReply = 0x00000003,
  kAEDontReconnect = 0x00000080,
  kAEWantReceipt = 0x00000200,
  kAENeverInteract = 0x00000010,
  kAECanInteract = 0x00000020,
  kAEAlwaysInteract = 0x00000030,
  kAECanSwitchLayer = 0x00000040,
  kAEDontRecord = 0x00001000,
  kAEDontExecute = 0x00002000,
  kAEProcessNonReplyEvents = 0x00008000
};

enum { kAENormalPriority = 0, kAEHighPriority = 1 };

/* Timeouts in ticks (1/60 s). */
enum { kAEDefaultTimeout = -1, kNoTimeOut = -2 };

/* Event handlers. A UPP is the plain function pointer. */
typedef OSErr (*AEEventHandlerProcPtr)(const AppleEvent* theAppleEvent, AppleEvent* reply,
                                       SRefCon handlerRefcon);
typedef AEEventHandlerProcPtr AEEventHandlerUPP;

static inline AEEventHandlerUPP NewAEEventHandlerUPP(AEEventHandlerProcPtr userRoutine) {
  return userRoutine;
}
static inline void DisposeAEEventHandlerUPP(AEEventHandlerUPP userUPP) {
  (void)userUPP;
}
static inline OSErr InvokeAEEventHandlerUPP(const AppleEvent* theAppleEvent, AppleEvent* reply,
                                            SRefCon handlerRefcon, AEEventHandlerUPP userUPP) {
  return userUPP(theAppleEvent, reply, handlerRefcon);
}

/* Descriptors */
void AEInitializeDesc(AEDesc* desc);
static inline void AEInitializeDescInline(AEDesc* d) {
  d->descriptorType = typeNull;
  d->dataHandle = 0;
}
OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result);
OSErr AEDisposeDesc(AEDesc* theAEDesc);
OSErr AEDuplicateDesc(const AEDesc* theAEDesc, AEDesc* result);
Size AEGetDescDataSize(const AEDesc* theAEDesc);
OSErr AEGetDescData(const AEDesc* theAEDesc, void* dataPtr, Size maximumSize);
OSErr AEReplaceDescData(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* theAEDesc);
Boolean AECheckIsRecord(const AEDesc* theDesc);

/* Coercion */
OSErr AECoercePtr(DescType typeCode, const void* dataPtr, Size dataSize, DescType toType,
                  AEDesc* result);
OSErr AECoerceDesc(const AEDesc* theAEDesc, DescType toType, AEDesc* result);

/* Lists and records; indexes are 1-based */
OSErr AECreateList(const void* factoringPtr, Size factoredSize, Boolean isRecord,
                   AEDescList* resultList);
OSErr AECountItems(const AEDescList* theAEDescList, long* theCount);
OSErr AEPutPtr(AEDescList* theAEDescList, long index, DescType typeCode, const void* dataPtr,
               Size dataSize);
OSErr AEPutDesc(AEDescList* theAEDescList, long index, const AEDesc* theAEDesc);
OSErr AEGetNthPtr(const AEDescList* theAEDescList, long index, DescType desiredType,
                  AEKeyword* theAEKeyword, DescType* typeCode, void* dataPtr, Size maximumSize,
                  Size* actualSize);
OSErr AEGetNthDesc(const AEDescList* theAEDescList, long index, DescType desiredType,
                   AEKeyword* theAEKeyword, AEDesc* result);
OSErr AESizeOfNthItem(const AEDescList* theAEDescList, long index, DescType* typeCode,
                      Size* dataSize);
OSErr AEDeleteItem(AEDescList* theAEDescList, long index);

/* Parameters of an Apple Event, or keyed items of a record */
OSErr AEPutParamPtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                    const void* dataPtr, Size dataSize);
OSErr AEPutParamDesc(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, const AEDesc* theAEDesc);
OSErr AEGetParamPtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                    DescType* actualType, void* dataPtr, Size maximumSize, Size* actualSize);
OSErr AEGetParamDesc(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                     AEDesc* result);
OSErr AESizeOfParam(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                    Size* dataSize);
OSErr AEDeleteParam(AppleEvent* theAppleEvent, AEKeyword theAEKeyword);

#define AEPutKeyPtr AEPutParamPtr
#define AEPutKeyDesc AEPutParamDesc
#define AEGetKeyPtr AEGetParamPtr
#define AEGetKeyDesc AEGetParamDesc
#define AESizeOfKeyDesc AESizeOfParam
#define AEDeleteKeyDesc AEDeleteParam

/* Apple Events and their attributes */
OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID,
                         const AEAddressDesc* target, AEReturnID returnID,
                         AETransactionID transactionID, AppleEvent* result);
OSErr AEPutAttributePtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                        const void* dataPtr, Size dataSize);
OSErr AEPutAttributeDesc(AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                         const AEDesc* theAEDesc);
OSErr AEGetAttributePtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                        DescType desiredType, DescType* typeCode, void* dataPtr, Size maximumSize,
                        Size* actualSize);
OSErr AEGetAttributeDesc(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword,
                         DescType desiredType, AEDesc* result);
OSErr AESizeOfAttribute(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                        Size* dataSize);

/* Flattening */
Size AESizeOfFlattenedDesc(const AEDesc* theAEDesc);
OSStatus AEFlattenDesc(const AEDesc* theAEDesc, Ptr buffer, Size bufferSize, Size* actualSize);
OSStatus AEUnflattenDesc(const void* buffer, AEDesc* result);

#ifdef __cplusplus
}
#endif
