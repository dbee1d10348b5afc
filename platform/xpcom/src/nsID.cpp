#include "nsID.h"

#include <stdio.h>

#include "nsXPCOM.h"

namespace {

bool ParseHex(const char*& p, int digits, PRUint32& out) {
  out = 0;
  for (int i = 0; i < digits; ++i, ++p) {
    char c = *p;
    PRUint32 v;
    if (c >= '0' && c <= '9')
      v = PRUint32(c - '0');
    else if (c >= 'a' && c <= 'f')
      v = PRUint32(c - 'a' + 10);
    else if (c >= 'A' && c <= 'F')
      v = PRUint32(c - 'A' + 10);
    else
      return false;
    out = (out << 4) | v;
  }
  return true;
}

bool Expect(const char*& p, char c) {
  return *p++ == c;
}

} // namespace

PRBool nsID::Parse(const char* aIDStr) {
  if (!aIDStr)
    return PR_FALSE;
  const char* p = aIDStr;
  bool braced = *p == '{';
  if (braced)
    ++p;
  nsID id;
  PRUint32 v;
  if (!ParseHex(p, 8, v))
    return PR_FALSE;
  id.m0 = v;
  if (!Expect(p, '-') || !ParseHex(p, 4, v))
    return PR_FALSE;
  id.m1 = PRUint16(v);
  if (!Expect(p, '-') || !ParseHex(p, 4, v))
    return PR_FALSE;
  id.m2 = PRUint16(v);
  if (!Expect(p, '-'))
    return PR_FALSE;
  for (int i = 0; i < 8; ++i) {
    if (i == 2 && !Expect(p, '-'))
      return PR_FALSE;
    if (!ParseHex(p, 2, v))
      return PR_FALSE;
    id.m3[i] = PRUint8(v);
  }
  if (braced && !Expect(p, '}'))
    return PR_FALSE;
  if (*p != '\0')
    return PR_FALSE;
  *this = id;
  return PR_TRUE;
}

void nsID::ToProvidedString(char (&aDest)[NSID_LENGTH]) const {
  snprintf(aDest, NSID_LENGTH, "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", m0,
           unsigned(m1), unsigned(m2), m3[0], m3[1], m3[2], m3[3], m3[4], m3[5], m3[6], m3[7]);
}

char* nsID::ToString() const {
  char* result = static_cast<char*>(NS_Alloc(NSID_LENGTH));
  if (result)
    ToProvidedString(*reinterpret_cast<char(*)[NSID_LENGTH]>(result));
  return result;
}
