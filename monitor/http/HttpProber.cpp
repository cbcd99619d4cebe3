#include "monitor/http/HttpProber.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

#include "monitor/net/Failure.h"

namespace Monitor {

namespace {

/// How late a timeout may be noticed and still be the target's.
constexpr std::chrono::milliseconds kTooLate{250};

std::size_t discard(char* /*data*/, std::size_t size, std::size_t count, void* /*self*/) {
  return size * count;
}

template <class Value>
Value infoOf(CURL* easy, CURLINFO info) {
  Value value{};
  curl_easy_getinfo(easy, info, &value);
  return value;
}

double millisecondsOf(CURL* easy, CURLINFO info) {
  return Milliseconds(std::chrono::microseconds(infoOf<curl_off_t>(easy, info))).count();
}

CurlList headerList(const HttpParameters& http) {
  CurlList list;
  for (const auto& [name, value] : http.headers) {
    // A header with an empty value is written with a semicolon (CURLOPT_HTTPHEADER(3)).
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
      throw std::bad_alloc();
    }
    (void)list.release();
    list.reset(longer);
  }
  return list;
}

std::string expectedText(const std::vector<StatusRange>& ranges) {
  std::string text;
  for (const auto& [first, last] : ranges) {
    text += text.empty() ? "" : ", ";
    text += first == last ? std::to_string(first) : fmt::format("{}-{}", first, last);
  }
  return text;
}

}  // namespace

class HttpProbe final : public Probe, private CurlMulti::Receiver {
 public:
  HttpProbe(HttpProber& prober, const ProbeSpec& spec, OnResult onResult)
      : prober_(prober),
        binding_(spec.binding),
        http_(std::get<HttpParameters>(spec.parameters)),
        timeout_(spec.timeout),
        onResult_(std::move(onResult)),
        headers_(headerList(http_)),
        easy_(curl_easy_init()) {
    const std::string address = spec.address.text();
    const std::string connectTo =
        spec.address.isV6() ? fmt::format("::[{}]:", address) : fmt::format("::{}:", address);
    connectTo_.reset(curl_slist_append(nullptr, connectTo.c_str()));
    if (easy_ == nullptr || connectTo_ == nullptr) {
      throw std::bad_alloc();
    }
    configure();
  }
  ~HttpProbe() override { stop(); }

  void start() override {
    socketError_.clear();
    errorText_.front() = '\0';
    begin_ = prober_.loop_.now();
    prober_.multi_.add(easy_.get(), *this);
  }

  void stop() override { prober_.multi_.remove(easy_.get()); }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    curl_easy_setopt(easy_.get(), option, value);
  }

  void configure() {
    const auto timeout = std::chrono::ceil<std::chrono::milliseconds>(timeout_);
    set(CURLOPT_URL, http_.url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    // The name was resolved by us, in the VRF: libcurl connects to the address, and still asks the
    // server for the URL's host, and verifies that name.
    set(CURLOPT_CONNECT_TO, connectTo_.get());
    // libcurl looks through all that its cache holds after each transfer.
    set(CURLOPT_DNS_CACHE_TIMEOUT, 0L);
    set(CURLOPT_OPENSOCKETFUNCTION, &openBound);
    set(CURLOPT_OPENSOCKETDATA, this);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout.count()));
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    if (http_.method == "HEAD") {
      set(CURLOPT_NOBODY, 1L);
    } else {
      set(CURLOPT_CUSTOMREQUEST, http_.method.c_str());
    }
    set(CURLOPT_USERAGENT, "conmon-probed");
    set(CURLOPT_HTTPHEADER, headers_.get());
    set(CURLOPT_SSL_VERIFYPEER, http_.verifyTls ? 1L : 0L);
    set(CURLOPT_SSL_VERIFYHOST, http_.verifyTls ? 2L : 0L);
    if (!http_.caFile.empty()) {
      set(CURLOPT_CAINFO, http_.caFile.c_str());
      set(CURLOPT_CAPATH, nullptr);
    }
    set(CURLOPT_WRITEFUNCTION, &discard);
    set(CURLOPT_ERRORBUFFER, errorText_.data());
  }

  static curl_socket_t openBound(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
    auto* probe = static_cast<HttpProbe*>(self);
    auto opened =
        openSocket(probe->binding_, address->family, address->socktype, address->protocol);
    if (auto* error = std::get_if<SocketError>(&opened)) {
      probe->socketError_ = std::move(error->text);
      return CURL_SOCKET_BAD;
    }
    return std::get<UniqueFd>(opened).release();
  }

  void transferDone(CURLcode code) override {
    const Result result = resultOf(code);
    const OnResult call = onResult_;  // The callee may destroy this.
    call(result);
  }

  Result resultOf(CURLcode code) {
    if (code == CURLE_OK) {
      return judged();
    }
    Result result = failure(code);
    switch (result.outcome) {
      case Outcome::kNoAnswer:
        ++prober_.counts_.noAnswer;
        break;
      case Outcome::kOverloaded:
        ++prober_.counts_.overloaded;
        break;
      default:
        ++prober_.counts_.notMeasured;
    }
    return result;
  }

  /// An answer came; whether it is the expected one.
  Result judged() {
    CURL* const easy = easy_.get();
    const long status = infoOf<long>(easy, CURLINFO_RESPONSE_CODE);
    // libcurl takes any number behind "HTTP/2"; a status is three digits (RFC 9112, section 4).
    if (status < 100 || status > 999) {
      ++prober_.counts_.noAnswer;
      return noAnswer(fmt::format("the answer is no HTTP: status {}", status));
    }
    HttpMeasurement measured;
    measured.totalMs = millisecondsOf(easy, CURLINFO_TOTAL_TIME_T);
    measured.connectMs = millisecondsOf(easy, CURLINFO_CONNECT_TIME_T);
    measured.tlsMs = std::max(measured.connectMs, millisecondsOf(easy, CURLINFO_APPCONNECT_TIME_T));
    measured.firstByteMs = millisecondsOf(easy, CURLINFO_STARTTRANSFER_TIME_T);
    measured.status = static_cast<int>(status);
    const bool expected = std::ranges::any_of(http_.expectedStatus, [&](const StatusRange& range) {
      return measured.status >= range.first && measured.status <= range.last;
    });
    ++(expected ? prober_.counts_.answered : prober_.counts_.unexpected);
    std::string text = fmt::format("status {}", measured.status);
    if (!expected) {
      text += fmt::format(", expected {}", expectedText(http_.expectedStatus));
    }
    return {expected ? Outcome::kAnswered : Outcome::kNoAnswer, measured, std::move(text)};
  }

  [[nodiscard]] Result failure(CURLcode code) const {
    if (!socketError_.empty()) {
      return notMeasured(socketError_);
    }
    CURL* const easy = easy_.get();
    switch (code) {
      case CURLE_COULDNT_CONNECT:
        if (const long error = infoOf<long>(easy, CURLINFO_OS_ERRNO); error != 0) {
          return connectFailure(static_cast<int>(error));
        }
        break;
      case CURLE_OPERATION_TIMEDOUT:
        // libcurl looks at the time before it looks at what has arrived: when we come back to it
        // long after the time was over, the answer may have been there all along.
        if (prober_.loop_.now() - begin_ > timeout_ + kTooLate) {
          return {Outcome::kOverloaded, {}, "could not be followed in time"};
        }
        return noAnswer(infoOf<curl_off_t>(easy, CURLINFO_CONNECT_TIME_T) == 0
                            ? "timed out connecting"
                            : "timed out waiting for the answer");
      case CURLE_PEER_FAILED_VERIFICATION:
        return noAnswer(fmt::format("certificate refused: {}", words(code)));
      case CURLE_OUT_OF_MEMORY:
      case CURLE_FAILED_INIT:
      case CURLE_SSL_CACERT_BADFILE:
      case CURLE_SSL_ENGINE_INITFAILED:
        return notMeasured(words(code));
      default:
        break;
    }
    return noAnswer(words(code));
  }

  [[nodiscard]] std::string words(CURLcode code) const {
    return errorText_.front() == '\0' ? curl_easy_strerror(code) : errorText_.data();
  }

  HttpProber& prober_;
  Binding binding_;
  HttpParameters http_;
  std::chrono::nanoseconds timeout_;
  Clock::time_point begin_;
  OnResult onResult_;
  CurlList headers_;
  CurlList connectTo_;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::string socketError_;
  CurlEasy easy_;  ///< Last: it refers to all of the above.
};

std::unique_ptr<Probe> HttpProber::probe(const ProbeSpec& spec, OnResult onResult) {
  return std::make_unique<HttpProbe>(*this, spec, std::move(onResult));
}

std::vector<Counter> HttpProber::counters() const {
  return {{"answered", counts_.answered},
          {"unexpected status", counts_.unexpected},
          {"no answer", counts_.noAnswer},
          {"not measured", counts_.notMeasured},
          {"overloaded", counts_.overloaded}};
}

}  // namespace Monitor
