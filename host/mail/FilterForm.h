// A message as the junk-mail filter reads it: decoded header fields, body text and attachments.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct _GByteArray;

namespace mailhost {

struct MessageExtent;
class ReadOnlyFile;

// A header field as a filter sees it: the name as written, the value unfolded, trimmed and
// decoded to UTF-8 (encoded words; raw 8-bit text as UTF-8 when valid, else as Latin-1).
// A NUL byte ends a value. The Date value is the message's own text, not reformatted.
struct HeaderField {
  std::string name;
  std::string value;
  bool operator==(const HeaderField&) const = default;
};

// A part that is not shown in the body. The part id names its place in the MIME tree as the
// mail URLs do ("1" for a single-part message, "1.2" for the second part of a multipart one).
struct AttachmentInfo {
  std::string contentType; // "type/subtype"
  std::string partId;
  std::string displayName; // UTF-8; the decoded file name, else "Part <id>"
  bool operator==(const AttachmentInfo&) const = default;
};

// The converted body, held once: the service streams it from here.
class BodyBuffer {
public:
  BodyBuffer();
  explicit BodyBuffer(_GByteArray* adopted);
  ~BodyBuffer();
  BodyBuffer(BodyBuffer&& other) noexcept;
  BodyBuffer& operator=(BodyBuffer&& other) noexcept;
  BodyBuffer(const BodyBuffer&) = delete;
  BodyBuffer& operator=(const BodyBuffer&) = delete;

  std::string_view view() const;
  std::size_t size() const { return view().size(); }
  _GByteArray* array() { return mArray; }

private:
  _GByteArray* mArray;
};

// Written between two parts of the body.
inline constexpr std::string_view kPartSeparator = "<BR><HR WIDTH=\"90%\" SIZE=4><BR>";

// A message in the form the mail converter hands to filters:
// - every top-level header field, once each, in message order (a leading "From " line of an
//   mbox is not a header and is skipped);
// - the attachments, in MIME-tree order;
// - the body: each text/plain and text/html part that is not marked as an attachment, with
//   its transfer encoding undone and its text converted to UTF-8, every alternative of a
//   multipart/alternative included, kPartSeparator between two such parts (never before the
//   first or after the last). Plain text is as written, HTML passes through; line ends are
//   left as they are. Other parts (and attached messages) are attachments, not body.
struct FilterForm {
  std::vector<HeaderField> headers;
  std::vector<AttachmentInfo> attachments;
  BodyBuffer body;
};

// Reads the message from its file. An empty message gives an empty form; bytes that are not a
// message (no header block) throw MailError(Unparseable); a file that cannot be read throws
// the MailError of its cause.
FilterForm toFilterForm(const MessageExtent& message);

// The same from the message's file, open already. A large message is read from the file as it is
// converted, and the conversion takes the descriptor over: `file` is empty afterwards.
FilterForm toFilterForm(ReadOnlyFile& file, const MessageExtent& message);

// The same for a message held in memory.
FilterForm toFilterForm(std::string_view message);

} // namespace mailhost
