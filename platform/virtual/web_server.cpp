#include "web_server.h"

#include <httplib.h>

#include <chrono>

namespace vsession {

LoopbackWebServer::LoopbackWebServer(std::map<std::string, WebAnswer> answers)
    : server_(std::make_unique<httplib::Server>()) {
  server_->Get(".*", [answers = std::move(answers)](const httplib::Request& request,
                                                    httplib::Response& response) {
    std::string path = request.path.empty() ? "" : request.path.substr(1);
    auto found = answers.find(path);
    if (found == answers.end()) {
      response.status = 404;
      return;
    }
    const WebAnswer& a = found->second;
    if (a.delaySeconds > 0) {
      std::this_thread::sleep_for(std::chrono::duration<double>(a.delaySeconds));
    }
    if (a.closeEarly) {
      // Promise more than is sent: the client sees the connection end mid-answer.
      response.set_content_provider(
          a.body.size() + 1000, a.contentType,
          [body = a.body](size_t offset, size_t, httplib::DataSink& sink) {
            if (offset == 0) sink.write(body.data(), body.size());
            return false;
          });
      return;
    }
    response.status = a.status;
    response.set_content(a.body, a.contentType);
  });
  int port = server_->bind_to_any_port("127.0.0.1");
  if (port <= 0) return;
  base_ = "http://127.0.0.1:" + std::to_string(port) + "/";
  thread_ = std::thread([this] { server_->listen_after_bind(); });
}

LoopbackWebServer::~LoopbackWebServer() {
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

}  // namespace vsession
