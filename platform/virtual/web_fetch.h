// The agent's HTTP fetch in the session: real libcurl, but only to the loopback interface,
// where the run's own server answers; any other host fails at once, as without a network.
// The fetch takes no virtual time: the thread that asked gets its answer in the same task.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/api/update_fetch.h"

namespace vsession {

class VirtualUpdateFetch final : public port::UpdateFetch {
 public:
  // `realTimeLimit` caps the real seconds a fetch may wait, whatever the agent asked, so a
  // test of a server that never answers stays short.
  explicit VirtualUpdateFetch(std::optional<double> realTimeLimit)
      : realTimeLimit_(realTimeLimit) {}
  std::optional<std::vector<uint8_t>> dataWithContentsOfURL(const std::string& url,
                                                            double timeoutSeconds) override;
  int fetches() const { return fetches_; }

 private:
  std::optional<double> realTimeLimit_;
  int fetches_ = 0;
};

}  // namespace vsession
