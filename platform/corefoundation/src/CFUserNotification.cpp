// Notices: one line on stderr always, a desktop notification when there is a session bus, and
// a JSON line in $CF_USER_NOTIFICATION_LOG for programs (and tests) that watch for notices.
#include "CFRuntime.h"

#include <unix/RetryingIO.h>
#include <unix/Syscalls.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <libnotify/notify.h>
#include <mutex>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <unistd.h>

namespace {

std::string oneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') {
      c = ' ';
    }
  }
  return text;
}

void appendToLog(const char* path, const std::string& line) {
  int fd = os::calls().open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    return;
  }
  // One write: concurrent writers' lines never interleave.
  os::writeAll(fd, line.data(), line.size());
  os::calls().close(fd);
}

// The desktop's notification library, loaded on the first notice: it brings an image library
// and its codecs, which every process would otherwise load at its start to show nothing.
struct DesktopNotifications {
  decltype(&notify_is_initted) isInitted = nullptr;
  decltype(&notify_init) init = nullptr;
  decltype(&notify_notification_new) create = nullptr;
  decltype(&notify_notification_set_timeout) setTimeout = nullptr;
  decltype(&notify_notification_set_urgency) setUrgency = nullptr;
  decltype(&notify_notification_show) show = nullptr;
  decltype(&g_object_unref) unref = nullptr;
  decltype(&g_error_free) freeError = nullptr;

  static const DesktopNotifications* load() {
    static const DesktopNotifications* loaded = []() -> const DesktopNotifications* {
      void* library = ::dlopen("libnotify.so.4", RTLD_NOW | RTLD_LOCAL);
      if (library == nullptr) {
        return nullptr;
      }
      static DesktopNotifications n;
      auto bind = [library](auto& function, const char* name) {
        function =
            reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(library, name));
        return function != nullptr;
      };
      // The GObject functions come from the library's own dependencies.
      bool complete = bind(n.isInitted, "notify_is_initted") && bind(n.init, "notify_init") &&
                      bind(n.create, "notify_notification_new") &&
                      bind(n.setTimeout, "notify_notification_set_timeout") &&
                      bind(n.setUrgency, "notify_notification_set_urgency") &&
                      bind(n.show, "notify_notification_show") && bind(n.unref, "g_object_unref") &&
                      bind(n.freeError, "g_error_free");
      return complete ? &n : nullptr;
    }();
    return loaded;
  }
};

void showOnDesktop(const std::string& title, const std::string& message, CFOptionFlags flags,
                   CFTimeInterval timeout) {
  static std::mutex lock;
  std::lock_guard<std::mutex> guard(lock);
  const DesktopNotifications* notify = DesktopNotifications::load();
  if (notify == nullptr || (!notify->isInitted() && !notify->init(program_invocation_short_name))) {
    return;
  }
  CFOptionFlags level = flags & 3;
  const char* icon = level == kCFUserNotificationStopAlertLevel      ? "dialog-error"
                     : level == kCFUserNotificationCautionAlertLevel ? "dialog-warning"
                                                                     : "dialog-information";
  NotifyNotification* notice =
      notify->create(title.empty() ? " " : title.c_str(), message.c_str(), icon);
  if (notice == nullptr) {
    return;
  }
  notify->setTimeout(notice, timeout > 0 ? static_cast<int>(timeout * 1000) : NOTIFY_EXPIRES_NEVER);
  notify->setUrgency(notice, level == kCFUserNotificationStopAlertLevel ? NOTIFY_URGENCY_CRITICAL
                                                                        : NOTIFY_URGENCY_NORMAL);
  GError* error = nullptr;
  if (!notify->show(notice, &error) && error != nullptr) {
    notify->freeError(error);
  }
  notify->unref(notice);
}

} // namespace

SInt32 CFUserNotificationDisplayNotice(CFTimeInterval timeout, CFOptionFlags flags, CFURLRef,
                                       CFURLRef, CFURLRef, CFStringRef alertHeader,
                                       CFStringRef alertMessage, CFStringRef) {
  std::string title = cf::toUTF8(alertHeader);
  std::string message = cf::toUTF8(alertMessage);

  std::string line = "Notice: ";
  if (alertHeader != nullptr) {
    line += oneLine(title) + ": ";
  }
  line += oneLine(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);

  if (const char* logPath = std::getenv("CF_USER_NOTIFICATION_LOG"); logPath && *logPath) {
    nlohmann::ordered_json entry = {
        {"title",
         alertHeader != nullptr ? nlohmann::ordered_json(title) : nlohmann::ordered_json(nullptr)},
        {"message", alertMessage != nullptr ? nlohmann::ordered_json(message)
                                            : nlohmann::ordered_json(nullptr)},
        {"flags", flags},
        {"timeout", timeout}};
    appendToLog(logPath,
                entry.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
                    "\n");
  }

  if (const char* bus = std::getenv("DBUS_SESSION_BUS_ADDRESS"); bus && *bus) {
    showOnDesktop(title, message, flags, timeout);
  }
  return 0;
}
