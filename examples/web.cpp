// usage: conmon-example-web PORT
//
// The quick start's web server: answers every request with one line, on loopback only.
#include <event2/buffer.h>
#include <event2/event.h>
#include <event2/http.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

void answer(evhttp_request* request, void* /*unused*/) {
  const std::unique_ptr<evbuffer, decltype(&evbuffer_free)> body(evbuffer_new(), &evbuffer_free);
  evbuffer_add_printf(body.get(), "I am here.\n");
  evhttp_send_reply(request, HTTP_OK, "OK", body.get());
}

}  // namespace

int main(int argc, char** argv) {
  std::uint16_t port = 0;
  const char* const text = argc == 2 ? argv[1] : "";
  const char* const end = text + std::strlen(text);
  if (std::from_chars(text, end, port).ptr != end || port == 0) {
    std::fprintf(stderr, "usage: conmon-example-web PORT\n");
    return 2;
  }
  const std::unique_ptr<event_base, decltype(&event_base_free)> base(event_base_new(),
                                                                     &event_base_free);
  const std::unique_ptr<evhttp, decltype(&evhttp_free)> server(evhttp_new(base.get()),
                                                               &evhttp_free);
  evhttp_set_gencb(server.get(), &answer, nullptr);
  if (evhttp_bind_socket(server.get(), "127.0.0.1", port) != 0) {
    std::fprintf(stderr, "conmon-example-web: cannot listen on 127.0.0.1 port %u\n", port);
    return 1;
  }
  // For names that lead there; not every machine has it.
  evhttp_bind_socket(server.get(), "::1", port);
  event_base_dispatch(base.get());
}
