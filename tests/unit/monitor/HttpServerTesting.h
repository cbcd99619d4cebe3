#pragma once

#include <event2/bufferevent_ssl.h>
#include <event2/http.h>
#include <openssl/ssl.h>

#include <map>

#include "tests/unit/monitor/ServerTesting.h"

namespace Monitor::Testing {

struct Free {
  void operator()(evhttp* http) const { evhttp_free(http); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

/// A key and a certificate for "localhost" that it signs itself.
class Identity {
 public:
  Identity();
  /// The certificate as a PEM file, for a client to trust.
  void writeCertificate(const std::string& path) const;
  [[nodiscard]] SSL_CTX* context() const { return context_.get(); }

 private:
  std::unique_ptr<EVP_PKEY, Free> key_;
  std::unique_ptr<X509, Free> certificate_;
  std::unique_ptr<SSL_CTX, Free> context_;
};

/// An HTTP server on the test's own loop, or an HTTPS one when it is given an identity.
class HttpServer {
 public:
  struct Request {
    std::string method, uri;
    std::map<std::string, std::string> headers;
  };

  HttpServer(TestLoop& loop, const std::string& address, const Identity* identity = nullptr,
             const Binding& binding = {});

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] const std::vector<Request>& requests() const { return requests_; }
  void answerIs(int status, std::string body) {
    status_ = status;
    body_ = std::move(body);
  }
  void headerIs(std::string name, std::string value) {
    header_ = {std::move(name), std::move(value)};
  }
  /// Requests are taken and never answered.
  void silentIs(bool silent) { silent_ = silent; }

 private:
  void handle(evhttp_request* request);

  std::unique_ptr<evhttp, Free> http_;
  std::uint16_t port_ = 0;
  int status_ = 200;
  std::string body_ = "hello";
  std::pair<std::string, std::string> header_;
  bool silent_ = false;
  std::vector<Request> requests_;
};

}  // namespace Monitor::Testing
