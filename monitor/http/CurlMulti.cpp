#include "monitor/http/CurlMulti.h"

#include <new>

namespace Monitor {

namespace {

/// libcurl is set up once for the process and never torn down, as other users could not be known.
void initialise() {
  static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (code != CURLE_OK) {
    throw std::bad_alloc();
  }
}

short eventsOf(int what) {
  const int read = (what & CURL_POLL_IN) != 0 ? EV_READ : 0;
  const int write = (what & CURL_POLL_OUT) != 0 ? EV_WRITE : 0;
  return static_cast<short>(read | write | EV_PERSIST);
}

int flagsOf(short happened) {
  return ((happened & EV_READ) != 0 ? CURL_CSELECT_IN : 0) |
         ((happened & EV_WRITE) != 0 ? CURL_CSELECT_OUT : 0);
}

}  // namespace

CurlMulti::CurlMulti(event_base* base)
    : base_(base), timer_(base, [this] { act(CURL_SOCKET_TIMEOUT, 0); }), multi_(nullptr) {
  initialise();
  multi_ = curl_multi_init();
  if (multi_ == nullptr) {
    throw std::bad_alloc();
  }
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &onSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &onTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
}

CurlMulti::~CurlMulti() { curl_multi_cleanup(multi_); }

void CurlMulti::add(CURL* easy, Receiver& receiver) {
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &receiver);
  curl_multi_add_handle(multi_, easy);
}

void CurlMulti::remove(CURL* easy) { curl_multi_remove_handle(multi_, easy); }

int CurlMulti::onSocket(CURL* /*easy*/, curl_socket_t fd, int what, void* self, void* watch) {
  auto* multi = static_cast<CurlMulti*>(self);
  delete static_cast<Event*>(watch);
  Event* event = nullptr;
  if (what != CURL_POLL_REMOVE) {
    event = new Event(multi->base_, fd, eventsOf(what),
                      [multi, fd](short happened) { multi->act(fd, flagsOf(happened)); });
    event->add();
  }
  curl_multi_assign(multi->multi_, fd, event);
  return 0;
}

int CurlMulti::onTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  auto* multi = static_cast<CurlMulti*>(self);
  if (milliseconds < 0) {
    multi->timer_.cancel();
  } else {
    multi->timer_.set(std::chrono::milliseconds(milliseconds));
  }
  return 0;
}

void CurlMulti::act(curl_socket_t fd, int flags) {
  int running = 0;
  curl_multi_socket_action(multi_, fd, flags, &running);
  takeResults();
}

void CurlMulti::takeResults() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) {
      continue;
    }
    // Read before the handle is removed, which ends the message's life.
    CURL* const easy = message->easy_handle;
    const CURLcode code = message->data.result;
    Receiver* receiver = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &receiver);
    curl_multi_remove_handle(multi_, easy);
    receiver->transferDone(code);
  }
}

}  // namespace Monitor
