#include "tests/unit/monitor/HttpServerTesting.h"

#include <event2/buffer.h>
#include <event2/keyvalq_struct.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>

namespace Monitor::Testing {

Identity::Identity()
    : key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256")),
      certificate_(X509_new()),
      context_(SSL_CTX_new(TLS_server_method())) {
  X509* const certificate = certificate_.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
  X509_NAME* name = X509_get_subject_name(certificate);
  const std::string host = "localhost";
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(host.data()),
                             static_cast<int>(host.size()), -1, 0);
  X509_set_issuer_name(certificate, name);
  X509_set_pubkey(certificate, key_.get());
  for (const auto& [id, value] : {std::pair(NID_subject_alt_name, "DNS:localhost"),
                                  std::pair(NID_basic_constraints, "critical,CA:TRUE")}) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, id, value);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
  }
  EXPECT_GT(X509_sign(certificate, key_.get(), EVP_sha256()), 0);
  EXPECT_EQ(SSL_CTX_use_certificate(context_.get(), certificate), 1);
  EXPECT_EQ(SSL_CTX_use_PrivateKey(context_.get(), key_.get()), 1);
}

void Identity::writeCertificate(const std::string& path) const {
  std::FILE* file = std::fopen(path.c_str(), "w");
  ASSERT_NE(file, nullptr) << path;
  EXPECT_EQ(PEM_write_X509(file, certificate_.get()), 1);
  std::fclose(file);
}

HttpServer::HttpServer(TestLoop& loop, const std::string& address, const Identity* identity,
                       const Binding& binding)
    : http_(evhttp_new(loop.base())) {
  constexpr ev_uint16_t kEveryMethod = 0xffff;
  evhttp_set_allowed_methods(http_.get(), kEveryMethod);
  evhttp_set_gencb(
      http_.get(),
      [](evhttp_request* request, void* self) { static_cast<HttpServer*>(self)->handle(request); },
      this);
  if (identity != nullptr) {
    evhttp_set_bevcb(
        http_.get(),
        [](event_base* base, void* context) {
          return bufferevent_openssl_socket_new(base, -1, SSL_new(static_cast<SSL_CTX*>(context)),
                                                BUFFEREVENT_SSL_ACCEPTING, BEV_OPT_CLOSE_ON_FREE);
        },
        identity->context());
  }
  UniqueFd socket = listener(address, binding);
  port_ = portOf(socket.get());
  EXPECT_EQ(evhttp_accept_socket(http_.get(), socket.release()), 0);
}

void HttpServer::handle(evhttp_request* request) {
  static const std::map<evhttp_cmd_type, std::string> kMethods = {
      {EVHTTP_REQ_GET, "GET"}, {EVHTTP_REQ_HEAD, "HEAD"}, {EVHTTP_REQ_OPTIONS, "OPTIONS"}};
  Request seen{
      kMethods.at(evhttp_request_get_command(request)), evhttp_request_get_uri(request), {}};
  const evkeyvalq* headers = evhttp_request_get_input_headers(request);
  for (const evkeyval* header = headers->tqh_first; header != nullptr;
       header = header->next.tqe_next) {
    seen.headers[header->key] = header->value;
  }
  requests_.push_back(std::move(seen));
  if (silent_) {
    return;
  }
  if (!header_.first.empty()) {
    evhttp_add_header(evhttp_request_get_output_headers(request), header_.first.c_str(),
                      header_.second.c_str());
  }
  evbuffer* body = evbuffer_new();
  evbuffer_add(body, body_.data(), body_.size());
  evhttp_send_reply(request, status_, "Answer", body);
  evbuffer_free(body);
}

}  // namespace Monitor::Testing
