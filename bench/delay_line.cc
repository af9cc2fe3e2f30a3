// Joins two network namespaces by a line that delivers each packet a fixed time after it was
// sent, so that a benchmark on one machine sees the round trips of a distant server. The first
// namespace is 10.200.0.1, the second 10.200.0.2; both devices vanish with the program, which
// ends on SIGTERM, SIGINT or the end of its standard input.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kDevice = "delay0";
constexpr int kMtu = 1500;
// The device drops what exceeds its own queue, so that must hold all that may arrive while this
// program waits for a processor: 15 MB is 300 ms at 50 MB/s.
constexpr int kDeviceQueue = 10000;
// How many packets one turn takes or delivers: more would let those of the other direction wait.
constexpr int kBatch = 16;

bool fail(const std::string& what) {
  std::fprintf(stderr, "delay_line: %s: %s\n", what.c_str(), std::strerror(errno));
  return false;
}

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

bool enterNamespace(const std::string& name) {
  const std::string path = "/run/netns/" + name;
  const Descriptor space(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!space) return fail("open " + path);
  return setns(space.get(), CLONE_NEWNET) == 0 || fail("enter namespace " + name);
}

ifreq deviceRequest() {
  ifreq request{};
  std::strncpy(request.ifr_name, kDevice, IFNAMSIZ - 1);
  return request;
}

bool setAddress(int socket, unsigned long what, const char* text) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, text, &address.sin_addr);
  ifreq request = deviceRequest();
  std::memcpy(&request.ifr_addr, &address, sizeof(address));
  return ioctl(socket, what, &request) == 0 || fail(std::string("set address ") + text);
}

bool bringUp(const char* address) {
  const Descriptor control(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!control) return fail("open a socket");
  ifreq mtu = deviceRequest();
  mtu.ifr_mtu = kMtu;
  if (ioctl(control.get(), SIOCSIFMTU, &mtu) != 0) return fail("set the MTU");
  ifreq queue = deviceRequest();
  queue.ifr_qlen = kDeviceQueue;
  if (ioctl(control.get(), SIOCSIFTXQLEN, &queue) != 0) return fail("set the queue length");
  if (!setAddress(control.get(), SIOCSIFADDR, address)) return false;
  if (!setAddress(control.get(), SIOCSIFNETMASK, "255.255.255.252")) return false;
  ifreq flags = deviceRequest();
  flags.ifr_flags = IFF_UP;
  return ioctl(control.get(), SIOCSIFFLAGS, &flags) == 0 || fail("bring the device up");
}

// Leaves the program in that namespace; its descriptors of others stay valid.
Descriptor openEnd(const std::string& space, const char* address) {
  if (!enterNamespace(space)) return {};
  Descriptor device(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
  ifreq request = deviceRequest();
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  if (!device || ioctl(device.get(), TUNSETIFF, &request) != 0) {
    fail(std::string("create ") + kDevice + " in namespace " + space);
    return {};
  }
  if (!bringUp(address)) return {};
  return device;
}

class Direction {
 public:
  Direction(int from, int to, Clock::duration delay) : from_(from), to_(to), delay_(delay) {}

  std::optional<Clock::time_point> nextDue() const {
    if (waiting_.empty()) return std::nullopt;
    return waiting_.front().due;
  }

  bool take() {
    for (int i = 0; i < kBatch; ++i) {
      std::array<char, kMtu> buffer;
      const ssize_t size = read(from_, buffer.data(), buffer.size());
      if (size < 0) return errno == EAGAIN || fail("take a packet");
      waiting_.push_back({Clock::now() + delay_, {buffer.data(), buffer.data() + size}});
    }
    return true;
  }

  bool deliver() {
    for (int i = 0; i < kBatch; ++i) {
      if (waiting_.empty() || waiting_.front().due > Clock::now()) return true;
      const std::vector<char>& bytes = waiting_.front().bytes;
      // A lost packet would falsify what is measured, so it ends the program.
      if (write(to_, bytes.data(), bytes.size()) < 0) return fail("deliver a packet");
      waiting_.pop_front();
    }
    return true;
  }

 private:
  struct Packet {
    Clock::time_point due;
    std::vector<char> bytes;
  };

  int from_;
  int to_;
  Clock::duration delay_;
  std::deque<Packet> waiting_;
};

// Delivery must not wait for a time slice when what is measured keeps every processor busy.
// Without the right to that, it may at least not be put off to save power.
void preferAccuracy() {
  const sched_param parameters{1};
  if (sched_setscheduler(0, SCHED_FIFO, &parameters) != 0) fail("warning: no real-time priority");
  prctl(PR_SET_TIMERSLACK, 1UL);
}

Descriptor catchSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return Descriptor(signalfd(-1, &signals, SFD_CLOEXEC));
}

bool waitFor(std::array<pollfd, 4>& events, std::optional<Clock::time_point> due) {
  if (!due) return ppoll(events.data(), events.size(), nullptr, nullptr) >= 0 || fail("wait");
  const auto left = std::max(*due - Clock::now(), Clock::duration::zero());
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  const timespec timeout{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
  return ppoll(events.data(), events.size(), &timeout, nullptr) >= 0 || fail("wait");
}

bool inputEnded(const pollfd& input) {
  if (input.revents == 0) return false;
  std::array<char, 256> ignored;
  return read(input.fd, ignored.data(), ignored.size()) <= 0;
}

bool run(int first, int second, int signals, Clock::duration delay) {
  Direction forth(first, second, delay);
  Direction back(second, first, delay);
  std::array<pollfd, 4> events{
      {{first, POLLIN, 0}, {second, POLLIN, 0}, {signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
  for (;;) {
    std::optional<Clock::time_point> due = forth.nextDue();
    if (!due || (back.nextDue() && *back.nextDue() < *due)) due = back.nextDue();
    if (!waitFor(events, due)) return false;
    if (events[2].revents != 0 || inputEnded(events[3])) return true;
    if (events[0].revents != 0 && !forth.take()) return false;
    if (events[1].revents != 0 && !back.take()) return false;
    if (!forth.deliver() || !back.deliver()) return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  char* end = nullptr;
  const double delay = argc == 4 ? std::strtod(argv[3], &end) : -1;
  if (end == nullptr || end == argv[3] || *end != '\0' || !(delay >= 0 && delay <= 10000)) {
    std::fputs("usage: delay_line NETNS_A NETNS_B DELAY_MS (0 to 10000, one way)\n", stderr);
    return 2;
  }
  const Descriptor signals = catchSignals();
  const Descriptor first = openEnd(argv[1], "10.200.0.1");
  if (!first) return 1;
  const Descriptor second = openEnd(argv[2], "10.200.0.2");
  if (!second) return 1;
  preferAccuracy();
  std::puts("ready");
  std::fflush(stdout);
  const std::chrono::duration<double, std::milli> oneWay(delay);
  return run(first.get(), second.get(), signals.get(),
             std::chrono::duration_cast<Clock::duration>(oneWay))
             ? 0
             : 1;
}
