#include "web_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace vsession {

namespace {

MHD_Result queue(MHD_Connection* connection, unsigned status, const std::string& body,
                 const std::string& contentType) {
  MHD_Response* response = MHD_create_response_from_buffer(
      body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY);
  if (!response) return MHD_NO;
  if (!contentType.empty()) MHD_add_response_header(response, "Content-Type", contentType.c_str());
  MHD_Result queued = MHD_queue_response(connection, status, response);
  MHD_destroy_response(response);
  return queued;
}

// Promises more than it sends: the client sees the connection end mid-answer.
MHD_Result queueCutShort(MHD_Connection* connection, const WebAnswer& answer) {
  auto reader = [](void* cls, uint64_t position, char* buffer, size_t max) -> ssize_t {
    const auto* body = static_cast<const std::string*>(cls);
    if (position != 0 || body->empty()) return MHD_CONTENT_READER_END_WITH_ERROR;
    size_t n = std::min(max, body->size());
    body->copy(buffer, n);
    return static_cast<ssize_t>(n);
  };
  MHD_Response* response = MHD_create_response_from_callback(
      answer.body.size() + 1000, 4096, reader, const_cast<std::string*>(&answer.body), nullptr);
  if (!response) return MHD_NO;
  MHD_add_response_header(response, "Content-Type", answer.contentType.c_str());
  MHD_Result queued = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return queued;
}

MHD_Result answerRequest(void* cls, MHD_Connection* connection, const char* url, const char*,
                         const char*, const char*, size_t*, void**) {
  const auto& answers = *static_cast<const std::map<std::string, WebAnswer>*>(cls);
  std::string path = url && *url == '/' ? url + 1 : "";
  auto found = answers.find(path);
  if (found == answers.end()) return queue(connection, MHD_HTTP_NOT_FOUND, "", "");
  const WebAnswer& a = found->second;
  // Each connection has a thread of its own, so a late answer holds up only its client.
  if (a.delaySeconds > 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(a.delaySeconds));
  }
  if (a.closeEarly) return queueCutShort(connection, a);
  return queue(connection, static_cast<unsigned>(a.status), a.body, a.contentType);
}

}  // namespace

LoopbackWebServer::LoopbackWebServer(std::map<std::string, WebAnswer> answers)
    : answers_(std::move(answers)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = 0;  // any free port
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  daemon_ = MHD_start_daemon(
      MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_ERROR_LOG, 0,
      nullptr, nullptr, &answerRequest, &answers_, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_END);
  if (!daemon_) return;
  const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT);
  if (!info || info->port == 0) return;
  base_ = "http://127.0.0.1:" + std::to_string(info->port) + "/";
}

LoopbackWebServer::~LoopbackWebServer() {
  if (daemon_) MHD_stop_daemon(daemon_);
}

}  // namespace vsession
