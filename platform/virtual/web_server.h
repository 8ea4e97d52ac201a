// A real HTTP server on the loopback interface, on threads of its own, serving fixed
// answers by path: what the version list's host answers in a run. It can also misbehave as
// real servers do: answer late or close the connection without an answer.
#pragma once

#include <cstdint>
#include <map>
#include <string>

struct MHD_Daemon;

namespace vsession {

struct WebAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/xml";
  double delaySeconds = 0;  // real seconds before the answer
  bool closeEarly = false;  // the connection closes in the middle of the answer
};

class LoopbackWebServer {
 public:
  // Paths without the leading slash, e.g. "versions/vx.plist"; any other path is a 404.
  explicit LoopbackWebServer(std::map<std::string, WebAnswer> answers);
  ~LoopbackWebServer();
  LoopbackWebServer(const LoopbackWebServer&) = delete;
  LoopbackWebServer& operator=(const LoopbackWebServer&) = delete;

  // "http://127.0.0.1:PORT/"; empty when the server could not start.
  const std::string& baseURL() const { return base_; }

 private:
  std::map<std::string, WebAnswer> answers_;
  MHD_Daemon* daemon_ = nullptr;
  std::string base_;
};

}  // namespace vsession
