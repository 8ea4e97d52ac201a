#include "web_fetch.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdint>

namespace vsession {

namespace {
constexpr size_t kMaxBody = 16u << 20;  // a longer answer is refused, not kept

size_t collect(char* data, size_t size, size_t count, void* out) {
  auto* body = static_cast<std::vector<uint8_t>*>(out);
  size_t n = size * count;
  if (body->size() + n > kMaxBody) return 0;  // ends the transfer with an error
  body->insert(body->end(), data, data + n);
  return n;
}

bool isLoopback(const std::string& url) {
  return url.starts_with("http://127.0.0.1:") || url.starts_with("http://127.0.0.1/");
}
}  // namespace

std::optional<std::vector<uint8_t>> VirtualUpdateFetch::dataWithContentsOfURL(
    const std::string& url, double timeoutSeconds) {
  ++fetches_;
  if (!isLoopback(url)) return std::nullopt;
  CURL* curl = curl_easy_init();
  if (!curl) return std::nullopt;
  double limit =
      std::max(0.001, realTimeLimit_ ? std::min(*realTimeLimit_, timeoutSeconds) : timeoutSeconds);
  std::vector<uint8_t> body;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(limit * 1000));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  CURLcode result = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(curl);
  if (result != CURLE_OK || status != 200) return std::nullopt;
  return body;
}

}  // namespace vsession
