#pragma once

#include <curl/curl.h>

#include <functional>
#include <memory>

#include "monitor/loop/Event.h"

namespace Monitor {

struct CurlDelete {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlEasy = std::unique_ptr<CURL, CurlDelete>;
using CurlList = std::unique_ptr<curl_slist, CurlDelete>;

/// libcurl's multi interface on the event loop: any number of transfers at once, no thread.
class CurlMulti {
 public:
  /// Takes one transfer's result. Never called from within add(); may add and remove transfers.
  class Receiver {
   public:
    virtual void transferDone(CURLcode code) = 0;

   protected:
    ~Receiver() = default;
  };

  explicit CurlMulti(event_base* base);
  CurlMulti(const CurlMulti&) = delete;
  CurlMulti& operator=(const CurlMulti&) = delete;
  /// No transfer is under way any more.
  ~CurlMulti();

  /// Begins a transfer. `receiver` lives until it is done or removed.
  void add(CURL* easy, Receiver& receiver);
  /// Gives a transfer up; one that is not under way is left alone.
  void remove(CURL* easy);

 private:
  static int onSocket(CURL* easy, curl_socket_t fd, int what, void* self, void* watch);
  static int onTimer(CURLM* multi, long milliseconds, void* self);
  void act(curl_socket_t fd, int flags);
  void takeResults();

  event_base* base_;
  Timer timer_;
  CURLM* multi_;
};

}  // namespace Monitor
