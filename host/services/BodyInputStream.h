// The input stream a message delivery hands a listener its converted body through.
#pragma once

#include "FilterForm.h"

#include <nsIInputStream.h>

#include <memory>

namespace mailhost {

// A blocking input stream over a converted message body, shared with the delivery that made
// it, so that a listener may keep the stream as long as it likes. Read hands out at most what
// was asked for and what is left; the delivery offers the rest again in the next block.
class BodyInputStream final : public nsIInputStream {
public:
  explicit BodyInputStream(std::shared_ptr<const BodyBuffer> body);

  std::size_t position() const { return mPosition; }
  std::size_t size() const { return mBody ? mBody->size() : 0; }

  NS_DECL_ISUPPORTS
  NS_IMETHOD Close(void) override;
  NS_IMETHOD Available(PRUint32* _retval) override; // closed: NS_BASE_STREAM_CLOSED
  NS_IMETHOD Read(char* aBuf, PRUint32 aCount, PRUint32* _retval) override; // closed: 0 bytes
  NS_IMETHOD ReadSegments(nsWriteSegmentFun aWriter, void* aClosure, PRUint32 aCount,
                          PRUint32* _retval) override;
  NS_IMETHOD IsNonBlocking(PRBool* _retval) override;

private:
  ~BodyInputStream() = default;

  std::shared_ptr<const BodyBuffer> mBody;
  std::size_t mPosition = 0;
};

// The stream module's "closed" result, which Available reports after Close.
inline constexpr nsresult kStreamClosed = 0x80470002;

} // namespace mailhost
