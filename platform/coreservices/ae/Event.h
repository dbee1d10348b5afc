// Internal helpers around the attributes every Apple Event carries.
#pragma once

#include "Storage.h"

namespace ae {

// evcl, evid, addr, rtid, tran: present in every event, in this order, never deleted.
constexpr AEKeyword kRequiredAttributes[] = {keyEventClassAttr, keyEventIDAttr, keyAddressAttr,
                                             keyReturnIDAttr, keyTransactionIDAttr};

bool isRequiredAttribute(AEKeyword key);
// The type a required attribute is stored as (0 for the address, which keeps its own type).
DescType requiredAttributeType(AEKeyword key);
Value newEvent(AEEventClass cls, AEEventID id, Value address, AEReturnID returnID,
               AETransactionID transactionID);
AEReturnID nextReturnID();
// True when the node holds well-formed required attributes (used on untrusted input).
bool hasValidRequiredAttributes(const Node& event);
// Puts the required attributes first, in their fixed order.
void orderAttributes(Node& event);
// Reads a 4-byte code or 16/32-bit integer attribute stored in host order.
std::uint32_t attributeCode(const Node& event, AEKeyword key);

} // namespace ae
