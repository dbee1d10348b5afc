#include "EtpanConnection.h"

#include "ServerCertificate.h"

#include <libetpan/libetpan.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <strings.h>

namespace mailhost {

namespace {

// Writing to a connection the server has closed raises SIGPIPE. While this thread talks to the
// server the signal is held back and then dropped, so that the failed write is an error to
// report and retry; the process itself keeps the usual disposition (a closed output pipe still
// ends it, as it ends any program).
class SigpipeHeld {
public:
  SigpipeHeld() {
    sigemptyset(&mPipe);
    sigaddset(&mPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &mPipe, &mPrevious);
    mWasPending = pending();
  }
  ~SigpipeHeld() {
    if (!mWasPending && pending()) {
      timespec now{};
      sigtimedwait(&mPipe, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr);
  }
  SigpipeHeld(const SigpipeHeld&) = delete;
  SigpipeHeld& operator=(const SigpipeHeld&) = delete;

private:
  static bool pending() {
    sigset_t set;
    sigpending(&set);
    return sigismember(&set, SIGPIPE) == 1;
  }

  sigset_t mPipe;
  sigset_t mPrevious;
  bool mWasPending = false;
};

// libetpan's results that mean the connection itself is gone or unusable.
bool isConnectionFailure(int code) {
  return code == MAILIMAP_ERROR_STREAM || code == MAILIMAP_ERROR_CONNECTION_REFUSED ||
         code == MAILIMAP_ERROR_SSL || code == MAILIMAP_ERROR_BAD_STATE;
}

struct SetDeleter {
  void operator()(mailimap_set* set) const { mailimap_set_free(set); }
};
using UniqueSet = std::unique_ptr<mailimap_set, SetDeleter>;

UniqueSet uidSet(std::uint32_t first, std::uint32_t last) {
  return UniqueSet(mailimap_set_new_interval(first, last));
}

struct FetchListDeleter {
  void operator()(clist* list) const { mailimap_fetch_list_free(list); }
};
using FetchList = std::unique_ptr<clist, FetchListDeleter>;

// A UID, flags and body section picked out of one FETCH response.
struct FetchedItem {
  std::uint32_t uid = 0;
  MessageFlags flags;
  const char* body = nullptr;
  std::size_t bodyLength = 0;
};

FetchedItem readFetched(mailimap_msg_att* att) {
  FetchedItem item;
  for (clistiter* it = clist_begin(att->att_list); it; it = clist_next(it)) {
    auto* entry = static_cast<mailimap_msg_att_item*>(clist_content(it));
    if (entry->att_type == MAILIMAP_MSG_ATT_ITEM_STATIC) {
      mailimap_msg_att_static* s = entry->att_data.att_static;
      if (s->att_type == MAILIMAP_MSG_ATT_UID) {
        item.uid = s->att_data.att_uid;
      } else if (s->att_type == MAILIMAP_MSG_ATT_BODY_SECTION && s->att_data.att_body_section) {
        item.body = s->att_data.att_body_section->sec_body_part;
        item.bodyLength = s->att_data.att_body_section->sec_length;
      }
    } else if (entry->att_type == MAILIMAP_MSG_ATT_ITEM_DYNAMIC && entry->att_data.att_dyn &&
               entry->att_data.att_dyn->att_list) {
      for (clistiter* f = clist_begin(entry->att_data.att_dyn->att_list); f; f = clist_next(f)) {
        auto* fetched = static_cast<mailimap_flag_fetch*>(clist_content(f));
        if (fetched->fl_type != MAILIMAP_FLAG_FETCH_OTHER || !fetched->fl_flag)
          continue;
        mailimap_flag* flag = fetched->fl_flag;
        if (flag->fl_type == MAILIMAP_FLAG_SEEN)
          item.flags.seen = true;
        else if (flag->fl_type == MAILIMAP_FLAG_DELETED)
          item.flags.deleted = true;
        else if (flag->fl_type == MAILIMAP_FLAG_KEYWORD && flag->fl_data.fl_keyword)
          item.flags.keywords.emplace_back(flag->fl_data.fl_keyword);
      }
    }
  }
  item.flags.uid = item.uid;
  return item;
}

void sniCallback(mailstream_ssl_context* context, void* data) {
  mailstream_ssl_set_server_name(context, static_cast<char*>(data));
}

// The value of one header field in a header block (unfolded, trimmed), empty when absent.
std::string headerValue(std::string_view block, std::string_view name) {
  std::size_t pos = 0;
  while (pos < block.size()) {
    std::size_t end = block.find('\n', pos);
    std::string_view line = block.substr(pos, end == std::string_view::npos ? end : end - pos);
    if (line.size() > name.size() && line[name.size()] == ':' &&
        strncasecmp(line.data(), name.data(), name.size()) == 0) {
      std::string value(line.substr(name.size() + 1));
      while (end != std::string_view::npos && end + 1 < block.size() &&
             (block[end + 1] == ' ' || block[end + 1] == '\t')) {
        std::size_t next = block.find('\n', end + 1);
        value += block.substr(end + 1, next == std::string_view::npos ? next : next - end - 1);
        end = next;
      }
      std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
      std::size_t first = value.find_first_not_of(" \t");
      std::size_t last = value.find_last_not_of(" \t");
      return first == std::string::npos ? std::string() : value.substr(first, last - first + 1);
    }
    if (end == std::string_view::npos)
      break;
    pos = end + 1;
  }
  return {};
}

// Messages listed per FETCH: libetpan holds a whole response parsed at once, so a listing holds
// one page of it however large the folder.
constexpr std::uint32_t kListingPage = 1000;

// One logged-in IMAP session through libetpan.
class EtpanConnection final : public ImapConnection {
public:
  EtpanConnection(const ImapEndpoint& endpoint, const std::string& password);
  ~EtpanConnection() override;

  bool hasCapability(const char* name) const override;
  const ImapEndpoint& endpoint() const override { return mEndpoint; }
  FolderState select(const std::string& folder) override;
  const std::string& selected() const override { return mSelected; }
  std::vector<MessageFlags> flags(std::uint32_t firstUid, std::uint64_t changedSince,
                                  bool withMessageId) override;
  std::vector<std::uint32_t> uidsWithout(const std::string& keyword1,
                                         const std::string& keyword2) override;
  std::string fetch(std::uint32_t uid) override;
  void setKeyword(std::uint32_t uid, const std::string& keyword, bool on) override;
  void move(std::uint32_t uid, const std::string& destination) override;
  std::string junkFolder() override;
  void waitForChanges(std::chrono::seconds timeout, int wakeFd) override;

private:
  [[noreturn]] void fail(int code, const std::string& doing);
  void secure();
  void verifyCertificate();

  ImapEndpoint mEndpoint;
  mailimap* mImap = nullptr;
  std::string mSelected;
  bool mCondstore = false;
};

} // namespace

EtpanConnection::EtpanConnection(const ImapEndpoint& endpoint, const std::string& password)
    : mEndpoint(endpoint) {
  SigpipeHeld held;
  mImap = mailimap_new(0, nullptr);
  if (!mImap)
    throw ImapError(ImapErrorKind::Connect, "out of memory for an IMAP session");
  mailimap_set_timeout(mImap, 60);
  int r = MAILIMAP_NO_ERROR;
  const std::string where = mEndpoint.host + ":" + std::to_string(mEndpoint.port);
  if (mEndpoint.socketType == SocketType::Tls)
    r = mailimap_ssl_connect_with_callback(mImap, mEndpoint.host.c_str(), mEndpoint.port,
                                           sniCallback, const_cast<char*>(mEndpoint.host.c_str()));
  else
    r = mailimap_socket_connect(mImap, mEndpoint.host.c_str(), mEndpoint.port);
  if (r != MAILIMAP_NO_ERROR_NON_AUTHENTICATED && r != MAILIMAP_NO_ERROR_AUTHENTICATED) {
    mailimap_free(mImap);
    mImap = nullptr;
    throw ImapError(ImapErrorKind::Connect,
                    "cannot connect to the IMAP server " + where +
                        (mEndpoint.socketType == SocketType::Tls ? " over TLS" : ""));
  }
  try {
    secure();
    r = mailimap_login(mImap, mEndpoint.user.c_str(), password.c_str());
    if (r == MAILIMAP_ERROR_LOGIN)
      throw ImapError(ImapErrorKind::Login, "the IMAP server " + where + " refused the login of " +
                                                mEndpoint.user + " (wrong user name or password)");
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "logging in");
    mailimap_capability_data* capabilities = nullptr;
    r = mailimap_capability(mImap, &capabilities);
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "asking for the server's capabilities");
    mailimap_capability_data_free(capabilities);
  } catch (...) {
    mailimap_free(mImap);
    mImap = nullptr;
    throw;
  }
}

EtpanConnection::~EtpanConnection() {
  SigpipeHeld held;
  if (!mImap)
    return;
  mailimap_set_timeout(mImap, 5); // a goodbye is not worth a long wait
  mailimap_logout(mImap);
  mailimap_free(mImap);
}

void EtpanConnection::secure() {
  if (mEndpoint.socketType == SocketType::StartTls) {
    int r = mailimap_socket_starttls(mImap);
    if (r != MAILIMAP_NO_ERROR)
      throw ImapError(ImapErrorKind::Connect, "the IMAP server " + mEndpoint.host + ":" +
                                                  std::to_string(mEndpoint.port) +
                                                  " did not start TLS");
  }
  if (mEndpoint.socketType != SocketType::Plain && !mEndpoint.insecure)
    verifyCertificate();
}

void EtpanConnection::verifyCertificate() {
  // The whole chain the server sent: its own certificate and the intermediates to an authority.
  carray* certificates = mailstream_get_certificate_chain(mImap->imap_stream);
  std::vector<DerBytes> chain;
  for (unsigned i = 0; certificates && i < carray_count(certificates); ++i) {
    auto* der = static_cast<MMAPString*>(carray_get(certificates, i));
    chain.push_back({reinterpret_cast<const unsigned char*>(der->str), der->len});
  }
  std::string problem = certificateProblem(chain, mEndpoint.host, mEndpoint.caFile);
  if (certificates)
    mailstream_certificate_chain_free(certificates);
  if (!problem.empty())
    throw ImapError(ImapErrorKind::Certificate, "the certificate of the IMAP server " +
                                                    mEndpoint.host + " is not trusted: " + problem);
}

void EtpanConnection::fail(int code, const std::string& doing) {
  const std::string where = mEndpoint.host + ":" + std::to_string(mEndpoint.port);
  if (isConnectionFailure(code))
    throw ImapError(ImapErrorKind::Connect,
                    "lost the connection to the IMAP server " + where + " while " + doing);
  std::string said;
  if (mImap && mImap->imap_response)
    said = std::string(": ") + mImap->imap_response;
  throw ImapError(ImapErrorKind::Protocol, "the IMAP server " + where + " refused " + doing + said);
}

bool EtpanConnection::hasCapability(const char* name) const {
  return mailimap_has_extension(mImap, const_cast<char*>(name)) != 0;
}

FolderState EtpanConnection::select(const std::string& folder) {
  SigpipeHeld held;
  mCondstore = hasCapability("CONDSTORE");
  std::uint64_t modseq = 0;
  int r = mCondstore ? mailimap_select_condstore(mImap, folder.c_str(), &modseq)
                     : mailimap_select(mImap, folder.c_str());
  if (r != MAILIMAP_NO_ERROR) {
    mSelected.clear();
    if (r == MAILIMAP_ERROR_SELECT)
      throw ImapError(ImapErrorKind::NoSuchFolder,
                      "the IMAP server " + mEndpoint.host + " has no folder " + folder);
    fail(r, "selecting " + folder);
  }
  mSelected = folder;
  FolderState state;
  if (mailimap_selection_info* info = mImap->imap_selection_info) {
    state.uidValidity = info->sel_uidvalidity;
    state.uidNext = info->sel_uidnext;
  }
  state.highestModSeq = modseq;
  return state;
}

std::vector<MessageFlags> EtpanConnection::flags(std::uint32_t firstUid, std::uint64_t changedSince,
                                                 bool withMessageId) {
  SigpipeHeld held;
  mailimap_fetch_type* type = mailimap_fetch_type_new_fetch_att_list_empty();
  mailimap_fetch_type_new_fetch_att_list_add(type, mailimap_fetch_att_new_uid());
  mailimap_fetch_type_new_fetch_att_list_add(type, mailimap_fetch_att_new_flags());
  if (withMessageId) {
    clist* names = clist_new();
    clist_append(names, strdup("Message-ID"));
    mailimap_fetch_type_new_fetch_att_list_add(
        type, mailimap_fetch_att_new_body_peek_section(
                  mailimap_section_new_header_fields(mailimap_header_list_new(names))));
  }
  UniqueSet set = uidSet(std::max<std::uint32_t>(firstUid, 1), 0);
  clist* raw = nullptr;
  int r = changedSince && mCondstore
              ? mailimap_uid_fetch_changedsince(mImap, set.get(), type, changedSince, &raw)
              : mailimap_uid_fetch(mImap, set.get(), type, &raw);
  mailimap_fetch_type_free(type);
  FetchList list(raw);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, "listing the flags in " + mSelected);
  std::vector<MessageFlags> result;
  for (clistiter* it = clist_begin(list.get()); it; it = clist_next(it)) {
    FetchedItem item = readFetched(static_cast<mailimap_msg_att*>(clist_content(it)));
    // "n:*" always names the last message, even one below n.
    if (item.uid < firstUid || item.uid == 0)
      continue;
    if (item.body)
      item.flags.messageId = headerValue({item.body, item.bodyLength}, "Message-ID");
    result.push_back(std::move(item.flags));
  }
  std::sort(result.begin(), result.end(),
            [](const MessageFlags& a, const MessageFlags& b) { return a.uid < b.uid; });
  return result;
}

std::vector<std::uint32_t> EtpanConnection::uidsWithout(const std::string& keyword1,
                                                        const std::string& keyword2) {
  // Selected afresh for a current count. Pages go by sequence number, which costs nothing for
  // gaps between UIDs, and with FETCH rather than UID FETCH: the server holds back EXPUNGE
  // until another kind of command, so no page shifts under the next one.
  const std::string folder = mSelected;
  select(folder);
  SigpipeHeld held;
  const std::uint32_t count =
      mImap->imap_selection_info ? mImap->imap_selection_info->sel_exists : 0;
  mailimap_fetch_type* type = mailimap_fetch_type_new_fetch_att_list_empty();
  mailimap_fetch_type_new_fetch_att_list_add(type, mailimap_fetch_att_new_uid());
  mailimap_fetch_type_new_fetch_att_list_add(type, mailimap_fetch_att_new_flags());
  std::unique_ptr<mailimap_fetch_type, void (*)(mailimap_fetch_type*)> fetchType(
      type, mailimap_fetch_type_free);
  std::vector<std::uint32_t> uids;
  for (std::uint32_t first = 1; first <= count; first += kListingPage) {
    // The last page runs to whatever is last by then.
    const bool last = count - first < kListingPage;
    UniqueSet set(mailimap_set_new_interval(first, last ? 0 : first + kListingPage - 1));
    clist* raw = nullptr;
    int r = mailimap_fetch(mImap, set.get(), fetchType.get(), &raw);
    FetchList list(raw);
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "listing the flags in " + folder);
    for (clistiter* it = clist_begin(list.get()); it; it = clist_next(it)) {
      FetchedItem item = readFetched(static_cast<mailimap_msg_att*>(clist_content(it)));
      const MessageFlags& message = item.flags;
      if (item.uid == 0 || message.deleted || message.has(keyword1) || message.has(keyword2))
        continue;
      uids.push_back(item.uid);
    }
    if (last)
      break;
  }
  // Sequence order is UID order; sorting and dropping repeats guards against a server that
  // answers out of order or adds an unasked update of a message already listed.
  std::sort(uids.begin(), uids.end());
  uids.erase(std::unique(uids.begin(), uids.end()), uids.end());
  return uids;
}

std::string EtpanConnection::fetch(std::uint32_t uid) {
  SigpipeHeld held;
  mailimap_fetch_type* type = mailimap_fetch_type_new_fetch_att_list_empty();
  mailimap_fetch_type_new_fetch_att_list_add(type, mailimap_fetch_att_new_uid());
  mailimap_fetch_type_new_fetch_att_list_add(
      type, mailimap_fetch_att_new_body_peek_section(mailimap_section_new(nullptr)));
  UniqueSet set = uidSet(uid, uid);
  clist* raw = nullptr;
  int r = mailimap_uid_fetch(mImap, set.get(), type, &raw);
  mailimap_fetch_type_free(type);
  FetchList list(raw);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, "fetching message " + std::to_string(uid) + " of " + mSelected);
  for (clistiter* it = clist_begin(list.get()); it; it = clist_next(it)) {
    FetchedItem item = readFetched(static_cast<mailimap_msg_att*>(clist_content(it)));
    if (item.uid == uid)
      return item.body ? std::string(item.body, item.bodyLength) : std::string();
  }
  throw ImapError(ImapErrorKind::NoSuchMessage,
                  mSelected + " on " + mEndpoint.host + " holds no message " + std::to_string(uid));
}

void EtpanConnection::setKeyword(std::uint32_t uid, const std::string& keyword, bool on) {
  SigpipeHeld held;
  mailimap_flag_list* list = mailimap_flag_list_new_empty();
  mailimap_flag_list_add(list, mailimap_flag_new_flag_keyword(strdup(keyword.c_str())));
  mailimap_store_att_flags* store = on ? mailimap_store_att_flags_new_add_flags_silent(list)
                                       : mailimap_store_att_flags_new_remove_flags_silent(list);
  UniqueSet set = uidSet(uid, uid);
  int r = mailimap_uid_store(mImap, set.get(), store);
  mailimap_store_att_flags_free(store);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, "setting " + keyword + " on message " + std::to_string(uid));
}

void EtpanConnection::move(std::uint32_t uid, const std::string& destination) {
  SigpipeHeld held;
  UniqueSet set = uidSet(uid, uid);
  const std::string what = "moving message " + std::to_string(uid) + " to " + destination;
  if (hasCapability("MOVE")) {
    int r = mailimap_uid_move(mImap, set.get(), destination.c_str());
    if (r != MAILIMAP_NO_ERROR)
      fail(r, what);
    return;
  }
  int r = mailimap_uid_copy(mImap, set.get(), destination.c_str());
  if (r != MAILIMAP_NO_ERROR)
    fail(r, what);
  mailimap_flag_list* list = mailimap_flag_list_new_empty();
  mailimap_flag_list_add(list, mailimap_flag_new_deleted());
  mailimap_store_att_flags* store = mailimap_store_att_flags_new_add_flags_silent(list);
  r = mailimap_uid_store(mImap, set.get(), store);
  mailimap_store_att_flags_free(store);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, what);
  // Without UIDPLUS an EXPUNGE would also remove what the user marked deleted and kept.
  if (!hasCapability("UIDPLUS"))
    return;
  r = mailimap_custom_command(mImap, ("UID EXPUNGE " + std::to_string(uid)).c_str());
  if (r != MAILIMAP_NO_ERROR)
    fail(r, what);
}

std::string EtpanConnection::junkFolder() {
  SigpipeHeld held;
  clist* raw = nullptr;
  int r = mailimap_list(mImap, "", "*", &raw);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, "listing the folders");
  std::string special;
  bool plainJunk = false;
  for (clistiter* it = clist_begin(raw); it; it = clist_next(it)) {
    auto* box = static_cast<mailimap_mailbox_list*>(clist_content(it));
    if (!box->mb_name)
      continue;
    if (strcasecmp(box->mb_name, "Junk") == 0)
      plainJunk = true;
    if (!box->mb_flag || !box->mb_flag->mbf_oflags)
      continue;
    for (clistiter* f = clist_begin(box->mb_flag->mbf_oflags); f; f = clist_next(f)) {
      auto* flag = static_cast<mailimap_mbx_list_oflag*>(clist_content(f));
      const char* name = flag->of_flag_ext;
      if (name && *name == '\\')
        ++name;
      if (special.empty() && flag->of_type == MAILIMAP_MBX_LIST_OFLAG_FLAG_EXT && name &&
          strcasecmp(name, "Junk") == 0)
        special = box->mb_name;
    }
  }
  mailimap_list_result_free(raw);
  if (!special.empty())
    return special;
  if (!plainJunk) {
    r = mailimap_create(mImap, "Junk");
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "creating the folder Junk");
  }
  return "Junk";
}

void EtpanConnection::waitForChanges(std::chrono::seconds timeout, int wakeFd) {
  SigpipeHeld held;
  bool idle = hasCapability("IDLE");
  if (idle) {
    int r = mailimap_idle(mImap);
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "waiting for new mail (IDLE)");
    // News read together with the server's go-ahead waits in the stream's buffer, where a
    // poll on the socket would not see it.
    if (mImap->imap_stream->read_buffer_len == 0) {
      pollfd fds[2] = {{mailimap_idle_get_fd(mImap), POLLIN, 0}, {wakeFd, POLLIN, 0}};
      ::poll(fds, wakeFd >= 0 ? 2 : 1, static_cast<int>(timeout.count() * 1000));
    }
    r = mailimap_idle_done(mImap);
    if (r != MAILIMAP_NO_ERROR)
      fail(r, "ending a wait for new mail (IDLE)");
    return;
  }
  pollfd wake{wakeFd, POLLIN, 0};
  ::poll(&wake, wakeFd >= 0 ? 1 : 0, static_cast<int>(timeout.count() * 1000));
  int r = mailimap_noop(mImap);
  if (r != MAILIMAP_NO_ERROR)
    fail(r, "asking for news (NOOP)");
}

std::unique_ptr<ImapConnection> connectWithEtpan(const ImapEndpoint& endpoint,
                                                 const std::string& password) {
  return std::make_unique<EtpanConnection>(endpoint, password);
}

} // namespace mailhost
