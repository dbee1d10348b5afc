#include "FilterForm.h"

#include "CharsetConverters.h"
#include "MailError.h"
#include "MailStore.h"
#include "PlainHeaderBlock.h"
#include "ReadOnlyFile.h"

#include <gmime/gmime.h>
#include <unix/FreeMemory.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <signal.h>
#include <string_view>
#include <utility>

namespace mailhost {

namespace {

struct GObjectUnref {
  void operator()(gpointer object) const {
    if (object)
      g_object_unref(object);
  }
};
template <typename T>
using GRef = std::unique_ptr<T, GObjectUnref>;

struct ByteArrayUnref {
  void operator()(GByteArray* bytes) const { g_byte_array_unref(bytes); }
};
using ByteArray = std::unique_ptr<GByteArray, ByteArrayUnref>;

struct GFree {
  void operator()(gpointer p) const { g_free(p); }
};
using GString_ = std::unique_ptr<char, GFree>;

GMimeParserOptions* parserOptions() {
  static GMimeParserOptions* options = [] {
    // GMime's crypto back end ignores SIGPIPE for the whole process as it starts. The host does
    // no crypto, and a closed output pipe must end it as it ends any other program.
    struct sigaction pipeAction {};
    ::sigaction(SIGPIPE, nullptr, &pipeAction);
    g_mime_init();
    ::sigaction(SIGPIPE, &pipeAction, nullptr);
    GMimeParserOptions* o = g_mime_parser_options_new();
    // Raw 8-bit header text: UTF-8 when it is valid, else Latin-1.
    const char* fallback[] = {"UTF-8", "ISO-8859-1", nullptr};
    g_mime_parser_options_set_fallback_charsets(o, fallback);
    return o;
  }();
  return options;
}

// UTF-8 validity, NUL bytes allowed (g_utf8_validate rejects them).
bool isValidUtf8(const char* data, std::size_t length) {
  // Most text is ASCII: pass it eight bytes at a time.
  while (length >= 8) {
    std::uint64_t word;
    std::memcpy(&word, data, sizeof word);
    if (word & 0x8080808080808080ULL)
      break;
    data += 8;
    length -= 8;
  }
  while (length > 0) {
    const char* nul = static_cast<const char*>(std::memchr(data, '\0', length));
    std::size_t segment = nul ? static_cast<std::size_t>(nul - data) : length;
    if (!g_utf8_validate(data, static_cast<gssize>(segment), nullptr))
      return false;
    if (!nul)
      break;
    data += segment + 1;
    length -= segment + 1;
  }
  return true;
}

// The Latin-1 text from `start` to the end of `bytes` as UTF-8, in place: one code point per
// byte, as iconv gives it, without opening a converter for every part. ASCII stays where it is
// up to the first 8-bit byte and moves eight bytes at a time after it.
void latin1ToUtf8(GByteArray* bytes, std::size_t start) {
  constexpr std::uint64_t highs = 0x8080808080808080ULL;
  guint8* data = bytes->data;
  std::size_t length = bytes->len, high = 0, first = length, at = start;
  for (; at + 8 <= length; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, data + at, sizeof word);
    if (word & highs) {
      first = std::min(first, at);
      high += static_cast<std::size_t>(std::popcount(word & highs));
    }
  }
  for (; at < length; ++at)
    if (data[at] & 0x80) {
      first = std::min(first, at);
      ++high;
    }
  if (high == 0)
    return;
  g_byte_array_set_size(bytes, static_cast<guint>(length + high));
  data = bytes->data;
  std::size_t from = length, to = bytes->len;
  while (from > first) {
    std::uint64_t word;
    if (from - first >= 8 && (std::memcpy(&word, data + from - 8, sizeof word), !(word & highs))) {
      from -= 8;
      to -= 8;
      std::memcpy(data + to, &word, sizeof word);
      continue;
    }
    guint8 b = data[--from];
    if (b < 0x80) {
      data[--to] = b;
    } else {
      data[--to] = static_cast<guint8>(0x80 | (b & 0x3F));
      data[--to] = static_cast<guint8>(0xC0 | (b >> 6));
    }
  }
}

bool isLatin1(const char* charset) {
  return charset && g_ascii_strcasecmp(g_mime_charset_iconv_name(charset), "iso-8859-1") == 0;
}

bool isUtf8OrAscii(const char* charset) {
  return !charset || g_ascii_strcasecmp(charset, "us-ascii") == 0 ||
         g_ascii_strcasecmp(charset, "ascii") == 0 || g_ascii_strcasecmp(charset, "utf-8") == 0 ||
         g_ascii_strcasecmp(charset, "utf8") == 0;
}

// How text in a charset (none: undeclared) becomes UTF-8: as it is, byte for byte from Latin-1,
// or through a converter.
enum class TextCharset { Utf8, Latin1, Other };

TextCharset textCharset(const char* charset) {
  if (isUtf8OrAscii(charset))
    return TextCharset::Utf8;
  return isLatin1(charset) ? TextCharset::Latin1 : TextCharset::Other;
}

// Text not put through a converter, from `start` on, made UTF-8: valid UTF-8 is kept, Latin-1 and
// anything else is read as Latin-1.
void toUtf8(GByteArray* bytes, std::size_t start, bool latin1) {
  if (latin1 ||
      !isValidUtf8(reinterpret_cast<const char*>(bytes->data) + start, bytes->len - start))
    latin1ToUtf8(bytes, start);
}

// Appends the shown text parts of the body to one byte array.
class BodyWriter {
public:
  explicit BodyWriter(GByteArray* out)
      : mOut(out), mStream(g_mime_stream_mem_new_with_byte_array(out)) {
    g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(mStream.get()), FALSE);
  }

  void appendText(GMimePart* part) {
    if (mParts++ > 0)
      g_byte_array_append(mOut, reinterpret_cast<const guint8*>(kPartSeparator.data()),
                          static_cast<guint>(kPartSeparator.size()));
    GMimeDataWrapper* content = g_mime_part_get_content(part);
    if (!content)
      return;
    const char* charset = g_mime_object_get_content_type_parameter(GMIME_OBJECT(part), "charset");
    TextCharset kind = textCharset(charset);
    GRef<GMimeFilter> convert;
    if (kind == TextCharset::Other) {
      CharsetConverters::keep(charset);
      convert.reset(g_mime_filter_charset_new(charset, "UTF-8"));
    }

    std::size_t start = mOut->len;
    g_mime_stream_seek(mStream.get(), static_cast<gint64>(start), GMIME_STREAM_SEEK_SET);
    GRef<GMimeStream> filtered;
    if (convert) {
      filtered.reset(g_mime_stream_filter_new(mStream.get()));
      g_mime_stream_filter_add(GMIME_STREAM_FILTER(filtered.get()), convert.get());
    }
    GMimeStream* target = filtered ? filtered.get() : mStream.get();
    if (g_mime_data_wrapper_write_to_stream(content, target) < 0 || g_mime_stream_flush(target) < 0)
      throw MailError(MailErrorKind::Io, "cannot read a part of the message");

    // Undeclared, ASCII, UTF-8, Latin-1 or a charset without a converter: the body is UTF-8 all
    // the same.
    if (!convert)
      toUtf8(mOut, start, kind == TextCharset::Latin1);
  }

private:
  GByteArray* mOut;
  GRef<GMimeStream> mStream;
  int mParts = 0;
};

bool isShownText(GMimeObject* object) {
  GMimeContentType* type = g_mime_object_get_content_type(object);
  if (!type || !(g_mime_content_type_is_type(type, "text", "plain") ||
                 g_mime_content_type_is_type(type, "text", "html")))
    return false;
  GMimeContentDisposition* disposition = g_mime_object_get_content_disposition(object);
  return !disposition || !g_mime_content_disposition_is_attachment(disposition);
}

AttachmentInfo attachmentOf(GMimeObject* object, const std::string& partId) {
  AttachmentInfo info;
  GMimeContentType* type = g_mime_object_get_content_type(object);
  GString_ mimeType(type ? g_mime_content_type_get_mime_type(type) : nullptr);
  info.contentType = mimeType ? mimeType.get() : "application/octet-stream";
  info.partId = partId;
  const char* name = nullptr;
  if (GMIME_IS_PART(object))
    name = g_mime_part_get_filename(GMIME_PART(object));
  else if (!(name = g_mime_object_get_content_disposition_parameter(object, "filename")))
    name = g_mime_object_get_content_type_parameter(object, "name");
  info.displayName = name && *name ? name : "Part " + partId;
  return info;
}

void walk(GMimeObject* object, const std::string& partId, FilterForm& form, BodyWriter& body) {
  if (GMIME_IS_MULTIPART(object)) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    int count = g_mime_multipart_get_count(multipart);
    for (int i = 0; i < count; ++i)
      walk(g_mime_multipart_get_part(multipart, i), partId + "." + std::to_string(i + 1), form,
           body);
  } else if (GMIME_IS_PART(object) && isShownText(object)) {
    body.appendText(GMIME_PART(object));
  } else {
    form.attachments.push_back(attachmentOf(object, partId));
  }
}

bool isFoldingSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The converters GMime's decoder will open for a raw header value: its encoded words' charsets,
// and for 8-bit text that is not UTF-8 the fallback, Latin-1.
void keepConvertersFor(std::string_view raw) {
  CharsetConverters::keepForEncodedWords(raw);
  if (std::any_of(raw.begin(), raw.end(), [](char c) { return c & 0x80; }) &&
      !isValidUtf8(raw.data(), raw.size()))
    CharsetConverters::keep("ISO-8859-1");
}

// A field's value unfolded and decoded. GMime's decoder tokenizes every value into words; most
// values are plain ASCII without encoded words, which decode to themselves, unfolded and
// trimmed: those are unfolded here and the decoder is left to the rest.
std::string headerValue(GMimeHeader* header) {
  const char* rawValue = g_mime_header_get_raw_value(header);
  std::string_view raw = rawValue ? rawValue : "";
  bool plain = raw.find("=?") == std::string_view::npos &&
               std::none_of(raw.begin(), raw.end(), [](char c) { return c & 0x80; });
  if (!plain) {
    keepConvertersFor(raw);
    const char* value = g_mime_header_get_value(header);
    return value ? value : "";
  }
  while (!raw.empty() && isFoldingSpace(raw.front()))
    raw.remove_prefix(1);
  while (!raw.empty() && isFoldingSpace(raw.back()))
    raw.remove_suffix(1);
  std::string value;
  value.reserve(raw.size());
  for (char c : raw)
    if (c != '\r' && c != '\n')
      value += c;
  return value;
}

// The top-level header fields in message order.
std::vector<HeaderField> topLevelHeaders(GMimeObject* object) {
  GMimeHeaderList* list = g_mime_object_get_header_list(object);
  int count = list ? g_mime_header_list_get_count(list) : 0;
  std::vector<HeaderField> fields;
  fields.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    GMimeHeader* header = g_mime_header_list_get_header_at(list, i);
    const char* name = g_mime_header_get_name(header);
    fields.push_back({name ? name : "", headerValue(header)});
  }
  return fields;
}

// `headers`: the top-level fields when they were read already; the stream then starts with only
// those that shape the MIME structure.
FilterForm convert(GMimeStream* stream, std::size_t expectedBodySize,
                   std::optional<std::vector<HeaderField>> headers = std::nullopt) {
  GMimeParserOptions* options = parserOptions();
  FilterForm form;
  if (g_mime_stream_length(stream) == 0)
    return form;

  GRef<GMimeParser> parser(g_mime_parser_new_with_stream(stream));
  g_mime_parser_set_format(parser.get(), GMIME_FORMAT_MESSAGE);
  g_mime_parser_set_persist_stream(parser.get(), TRUE); // parts read from the file when written
  GRef<GMimeObject> message(g_mime_parser_construct_part(parser.get(), options));
  if (!message)
    throw MailError(MailErrorKind::Unparseable, "not a mail message (no header block)");

  form.headers = headers ? std::move(*headers) : topLevelHeaders(message.get());
  g_byte_array_set_size(form.body.array(), static_cast<guint>(expectedBodySize));
  g_byte_array_set_size(form.body.array(), 0);
  BodyWriter body(form.body.array());
  walk(message.get(), "1", form, body);
  return form;
}

// A message of one text part shown as written: the bytes read are its body once the header block
// is moved out of their way, with no parser and no copy.
FilterForm asWritten(ByteArray bytes, std::size_t bodyAt, std::vector<HeaderField> headers,
                     bool latin1) {
  FilterForm form;
  GByteArray* body = bytes.get();
  form.body = BodyBuffer(bytes.release());
  form.headers = std::move(headers);
  g_byte_array_remove_range(body, 0, static_cast<guint>(bodyAt));
  toUtf8(body, 0, latin1);
  return form;
}

// The message in `bytes` from `from` on; GMime gets a memory stream over them only when needed. A
// plain header block is read here, decoded as GMime decodes a header value, and GMime is given only
// the fields that shape the form, written over the end of the block.
FilterForm convert(ByteArray bytes, std::size_t from) {
  std::string_view text(reinterpret_cast<const char*>(bytes->data) + from, bytes->len - from);
  auto parsedFrom = [&](std::size_t start, std::optional<std::vector<HeaderField>> headers) {
    GRef<GMimeStream> memory(g_mime_stream_mem_new_with_byte_array(bytes.release())); // owns them
    g_mime_stream_set_bounds(memory.get(), static_cast<gint64>(start), -1);
    return convert(memory.get(), text.size(), std::move(headers));
  };
  std::optional<PlainHeaderBlock> plain = readPlainHeaderBlock(text);
  if (!plain)
    return parsedFrom(from, std::nullopt);
  GMimeParserOptions* options = parserOptions();
  for (std::size_t index : plain->toDecode) {
    std::string& value = plain->fields[index].value;
    keepConvertersFor(value);
    GString_ unfolded(g_mime_utils_header_unfold(value.c_str()));
    GString_ decoded(g_mime_utils_header_decode_text(options, unfolded.get()));
    value = decoded ? decoded.get() : "";
  }
  if (std::optional<std::string> charset = plainTextCharset(*plain)) {
    TextCharset kind = textCharset(charset->empty() ? nullptr : charset->c_str());
    if (kind != TextCharset::Other)
      return asWritten(std::move(bytes), from + plain->body, std::move(plain->fields),
                       kind == TextCharset::Latin1);
  }
  std::size_t start = from + plain->blankLine - plain->contentFields.size();
  std::memcpy(bytes->data + start, plain->contentFields.data(), plain->contentFields.size());
  return parsedFrom(start, std::move(plain->fields));
}

constexpr std::string_view kFromLine = "From ";
constexpr std::uint64_t kReadAtOnceLimit = 64 * 1024;

// A large message's buffers (its body, the plug-in's capture of it, the event that carries it) are
// the largest a run makes, so the heaps' free pages go back to the system before them: kept, they
// would add to the message's own, and a long run's peak would grow with the pages it has freed.
constexpr std::uint64_t kLargeMessage = kReadAtOnceLimit;
void makeRoomFor(std::uint64_t messageSize) {
  if (messageSize > kLargeMessage)
    os::returnFreeMemory();
}

// Where the message starts past a leading "From " line: the mbox envelope, not a header.
std::uint64_t pastFromLine(const ReadOnlyFile& file, std::uint64_t start, std::uint64_t end) {
  char head[5] = {};
  if (end - start < sizeof head || file.readAt(start, head, sizeof head) != sizeof head ||
      std::string_view(head, sizeof head) != kFromLine)
    return start;
  char chunk[4096];
  std::uint64_t at = start;
  for (bool found = false; !found && at < end;) {
    std::size_t got = file.readAt(
        at, chunk, static_cast<std::size_t>(std::min<std::uint64_t>(sizeof chunk, end - at)));
    if (got == 0)
      break;
    const void* lf = std::memchr(chunk, '\n', got);
    found = lf != nullptr;
    at += found ? static_cast<std::size_t>(static_cast<const char*>(lf) - chunk) + 1 : got;
  }
  return at;
}

} // namespace

BodyBuffer::BodyBuffer() : mArray(g_byte_array_new()) {}
BodyBuffer::BodyBuffer(GByteArray* adopted) : mArray(adopted) {}
BodyBuffer::~BodyBuffer() {
  if (mArray)
    g_byte_array_unref(mArray);
}
BodyBuffer::BodyBuffer(BodyBuffer&& other) noexcept
    : mArray(std::exchange(other.mArray, nullptr)) {}
BodyBuffer& BodyBuffer::operator=(BodyBuffer&& other) noexcept {
  std::swap(mArray, other.mArray);
  return *this;
}
std::string_view BodyBuffer::view() const {
  if (!mArray)
    return {};
  return {reinterpret_cast<const char*>(mArray->data), mArray->len};
}

FilterForm toFilterForm(const MessageExtent& extent) {
  ReadOnlyFile file(extent.file);
  return toFilterForm(file, extent);
}

FilterForm toFilterForm(ReadOnlyFile& file, const MessageExtent& extent) {
  parserOptions();
  std::uint64_t start = extent.offset;
  std::uint64_t end = std::min(extent.offset + extent.length, file.size());
  if (start > end)
    start = end;

  auto located = [&](auto&& convertMessage) {
    try {
      return convertMessage();
    } catch (const MailError& error) {
      throw MailError(error.kind(), extent.file.string() + " at " + std::to_string(extent.offset) +
                                        ": " + error.what());
    }
  };
  // A small message is read at once (one read instead of the parser's seeks and reads, for
  // most mail); a large one is read part by part from the file as it is converted.
  if (end - start <= kReadAtOnceLimit) {
    ByteArray bytes(g_byte_array_sized_new(static_cast<guint>(end - start)));
    g_byte_array_set_size(bytes.get(), static_cast<guint>(end - start));
    std::size_t got = file.readAt(start, reinterpret_cast<char*>(bytes->data), bytes->len);
    g_byte_array_set_size(bytes.get(), static_cast<guint>(got));
    std::string_view text(reinterpret_cast<const char*>(bytes->data), got);
    std::size_t from = 0;
    if (text.starts_with(kFromLine)) {
      std::size_t lf = text.find('\n');
      from = lf == std::string_view::npos ? got : lf + 1;
    }
    return located([&] { return convert(std::move(bytes), from); });
  }
  makeRoomFor(end - start);
  start = pastFromLine(file, start, end);
  GRef<GMimeStream> whole(g_mime_stream_fs_new(file.release()));
  GRef<GMimeStream> message(
      g_mime_stream_substream(whole.get(), static_cast<gint64>(start), static_cast<gint64>(end)));
  return located([&] { return convert(message.get(), static_cast<std::size_t>(end - start)); });
}

FilterForm toFilterForm(std::string_view text) {
  parserOptions();
  if (text.starts_with(kFromLine)) {
    std::size_t lf = text.find('\n');
    text.remove_prefix(lf == std::string_view::npos ? text.size() : lf + 1);
  }
  if (text.empty())
    return {};
  makeRoomFor(text.size());
  ByteArray bytes(g_byte_array_sized_new(static_cast<guint>(text.size())));
  g_byte_array_append(bytes.get(), reinterpret_cast<const guint8*>(text.data()),
                      static_cast<guint>(text.size()));
  return convert(std::move(bytes), 0);
}

} // namespace mailhost
