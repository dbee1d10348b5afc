// A list of UTF-8 strings handed out one by one.
#pragma once

#include <nsIStringEnumerator.h>

#include <string>
#include <vector>

namespace mailhost {

// A list of UTF-8 strings handed out one by one.
class StringEnumerator final : public nsIUTF8StringEnumerator {
public:
  explicit StringEnumerator(std::vector<std::string> strings);

  NS_DECL_ISUPPORTS
  NS_IMETHOD HasMore(PRBool* _retval) override;
  NS_IMETHOD GetNext(nsACString& _retval) override; // past the end: NS_ERROR_FAILURE

private:
  ~StringEnumerator() = default;

  std::vector<std::string> mStrings;
  std::size_t mNext = 0;
};

} // namespace mailhost
