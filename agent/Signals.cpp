#include "agent/Signals.h"

#include <fmt/format.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "agent/StartError.h"

namespace Agent {

namespace {

Fd signalDescriptor() {
  // A peer that went away is an error of the write, not of the process.
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&set, signal);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
  Fd fd(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!fd.valid()) {
    throw StartError(fmt::format("cannot take signals: {}", std::strerror(errno)));
  }
  return fd;
}

}  // namespace

Signals::Signals(EventLoop& loop, std::function<void()> onHangUp)
    : loop_(loop),
      onHangUp_(std::move(onHangUp)),
      fd_(signalDescriptor()),
      watch_(loop, fd_.get(), [this](EventLoop::Ready) { read(); }) {
  watch_.interestIs(true, false);
}

void Signals::read() {
  signalfd_siginfo info{};
  while (::read(fd_.get(), &info, sizeof info) == sizeof info) {
    if (info.ssi_signo == SIGHUP) {
      onHangUp_();
    } else {
      loop_.stop();
    }
  }
}

}  // namespace Agent
