#include "host/kernel_events.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/atomic_file.h"

namespace pluvo::host {

namespace {

Error lastError(std::string_view what) {
  return Error{std::string(what) + ": " + std::strerror(errno)};
}

timespec toTimespec(std::chrono::system_clock::time_point when) {
  auto since = when.time_since_epoch();
  auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(since - seconds);
  timespec spec{};
  spec.tv_sec = static_cast<time_t>(seconds.count());
  spec.tv_nsec = static_cast<long>(nanoseconds.count());
  // Zero would disarm the timer, and the kernel refuses a time before the epoch: such a deadline
  // has passed all the same, so it becomes the first nanosecond after the epoch.
  if (spec.tv_sec < 0 || (spec.tv_sec == 0 && spec.tv_nsec <= 0)) spec = {0, 1};
  return spec;
}

bool armAbsolute(int fd, std::chrono::system_clock::time_point deadline, int flags) {
  itimerspec spec{};
  spec.it_value = toTimespec(deadline);
  return ::timerfd_settime(fd, TFD_TIMER_ABSTIME | flags, &spec, nullptr) == 0;
}

// Far enough ahead never to fire in practice; re-armed if it does.
void armClockWatch(int fd) {
  armAbsolute(fd, std::chrono::system_clock::now() + std::chrono::hours(24 * 365),
              TFD_TIMER_CANCEL_ON_SET);
}

}  // namespace

void blockSignals(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : signals) sigaddset(&set, signal);
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

struct KernelEvents::Source {
  Source(int fd, std::function<void()> ready) : fd(fd), ready(std::move(ready)) {}
  ~Source() { ::close(fd); }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  const int fd;
  const std::function<void()> ready;
};

Expected<std::unique_ptr<KernelEvents>> KernelEvents::create() {
  int epoll = ::epoll_create1(EPOLL_CLOEXEC);
  if (epoll < 0) return std::unexpected(lastError("cannot create an epoll instance"));
  int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wake < 0) {
    Error error = lastError("cannot create an eventfd");
    ::close(epoll);
    return std::unexpected(std::move(error));
  }
  int inotify = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (inotify < 0) {
    Error error = lastError("cannot create an inotify instance");
    ::close(epoll);
    ::close(wake);
    return std::unexpected(std::move(error));
  }
  return std::unique_ptr<KernelEvents>(new KernelEvents(epoll, wake, inotify));
}

KernelEvents::KernelEvents(int epoll, int wake, int inotify)
    : epoll_(epoll), wake_(wake), inotify_(inotify) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = 0;  // the wake-up
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, wake_, &event);
  // The inotify instance is a source like the others, and closed with them.
  const std::uint64_t id = nextId_++;
  event.data.u64 = id;
  sources_.emplace(id, std::make_shared<Source>(inotify_, [this] { readFolderChanges(); }));
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, inotify_, &event);
}

KernelEvents::~KernelEvents() {
  stop();
  {
    std::lock_guard lock(mutex_);
    sources_.clear();
  }
  ::close(wake_);
  ::close(epoll_);
}

std::uint64_t KernelEvents::add(int fd, std::function<void()> ready) {
  std::uint64_t id;
  {
    std::lock_guard lock(mutex_);
    id = nextId_++;
    sources_.emplace(id, std::make_shared<Source>(fd, std::move(ready)));
  }
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = id;
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
  return id;
}

void KernelEvents::remove(std::uint64_t id) {
  std::shared_ptr<Source> source;
  {
    std::lock_guard lock(mutex_);
    auto found = sources_.find(id);
    if (found == sources_.end()) return;
    source = std::move(found->second);
    sources_.erase(found);
  }
  ::epoll_ctl(epoll_, EPOLL_CTL_DEL, source->fd, nullptr);
  // The descriptor closes when the watcher thread lets go of the source too.
}

Expected<void> KernelEvents::watchFolder(const std::filesystem::path& folder,
                                         FolderChange onChange) {
  int wd = ::inotify_add_watch(
      inotify_, folder.c_str(),
      IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ONLYDIR);
  if (wd < 0) return std::unexpected(platform::systemError("cannot watch", folder, errno));
  std::lock_guard lock(mutex_);
  folders_[wd] = std::make_shared<FolderChange>(std::move(onChange));
  return {};
}

void KernelEvents::readFolderChanges() {
  alignas(inotify_event) char buffer[16384];
  for (;;) {
    ssize_t length = ::read(inotify_, buffer, sizeof buffer);
    if (length <= 0) return;  // EAGAIN: all read
    for (char* at = buffer; at < buffer + length;) {
      const auto* event = reinterpret_cast<const inotify_event*>(at);
      at += sizeof(inotify_event) + event->len;
      std::vector<std::shared_ptr<FolderChange>> targets;
      {
        std::lock_guard lock(mutex_);
        if (event->mask & IN_Q_OVERFLOW) {
          for (const auto& [wd, folder] : folders_) targets.push_back(folder);
        } else if (auto found = folders_.find(event->wd); found != folders_.end()) {
          if (event->len > 0) targets.push_back(found->second);
        }
      }
      std::string_view name = (event->mask & IN_Q_OVERFLOW) || event->len == 0
                                  ? std::string_view()
                                  : std::string_view(event->name);  // NUL-padded
      for (const auto& target : targets) (*target)(name);
    }
  }
}

Expected<void> KernelEvents::onClockChange(std::function<void()> callback) {
  int fd = ::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
  if (fd < 0) return std::unexpected(lastError("cannot create a clock timer"));
  armClockWatch(fd);
  add(fd, [fd, callback = std::move(callback)] {
    std::uint64_t expirations = 0;
    if (::read(fd, &expirations, sizeof expirations) < 0 && errno == ECANCELED) callback();
    armClockWatch(fd);
  });
  return {};
}

Expected<void> KernelEvents::watchSignals(std::initializer_list<int> signals,
                                          std::function<void(int)> callback) {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : signals) sigaddset(&set, signal);
  int fd = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd < 0) return std::unexpected(lastError("cannot read signals"));
  add(fd, [fd, callback = std::move(callback)] {
    signalfd_siginfo info{};
    while (::read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      callback(static_cast<int>(info.ssi_signo));
    }
  });
  return {};
}

Expected<std::unique_ptr<KernelEvents::WallClockTimer>> KernelEvents::makeTimer(
    std::function<void()> fired) {
  int fd = ::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
  if (fd < 0) return std::unexpected(lastError("cannot create a timer"));
  std::uint64_t id = add(fd, [fd, fired = std::move(fired)] {
    std::uint64_t expirations = 0;
    // Nothing to read when it was re-armed since it expired.
    if (::read(fd, &expirations, sizeof expirations) == sizeof expirations) fired();
  });
  return std::unique_ptr<WallClockTimer>(new WallClockTimer(*this, fd, id));
}

KernelEvents::WallClockTimer::~WallClockTimer() { owner_.remove(id_); }

Expected<void> KernelEvents::WallClockTimer::armAt(std::chrono::system_clock::time_point deadline) {
  if (!armAbsolute(fd_, deadline, 0)) {
    return std::unexpected(lastError("the kernel refused the timer's deadline"));
  }
  return {};
}

void KernelEvents::WallClockTimer::disarm() {
  itimerspec none{};
  ::timerfd_settime(fd_, 0, &none, nullptr);
}

void KernelEvents::start() {
  if (thread_.joinable()) return;
  thread_ = std::thread([this] { watch(); });
}

void KernelEvents::stop() {
  stopping_ = true;
  std::uint64_t one = 1;
  [[maybe_unused]] ssize_t written = ::write(wake_, &one, sizeof one);
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void KernelEvents::watch() {
  epoll_event events[16];
  while (!stopping_) {
    int count = ::epoll_wait(epoll_, events, 16, -1);
    if (count < 0) {
      if (errno == EINTR) continue;
      return;
    }
    for (int i = 0; i < count; ++i) {
      if (events[i].data.u64 == 0 || stopping_) return;
      std::shared_ptr<Source> source;
      {
        std::lock_guard lock(mutex_);
        auto found = sources_.find(events[i].data.u64);
        if (found != sources_.end()) source = found->second;
      }
      if (source) source->ready();
    }
  }
}

}  // namespace pluvo::host
