#include "channels.h"

#include <iterator>
#include <memory>
#include <set>

#include "plist_json.h"

namespace vsession {

using namespace port;

void VirtualNotifications::addObserver(void* observer, const std::string& name,
                                       NotificationCallBack callback,
                                       NotificationSuspensionBehavior behavior) {
  observers_.push_back({observer, name, callback, behavior});
}

void VirtualNotifications::deliver(const Observer& o, Posted posted) {
  scheduler_.schedule(scheduler_.now(), Scheduler::kMainLane, "notification",
                      [callback = o.callback, observer = o.observer, posted] {
                        callback(observer, posted->first, posted->second);
                      });
}

void VirtualNotifications::postNotification(const std::string& name, const PlistDict& userInfo,
                                            bool deliverImmediately) {
  // The pane's two channels and the helper's reply are traced by their own kinds.
  static const std::set<std::string> kChannels = {"com.tarnwick.v4bf", "com.tarnwick.v4fb",
                                                  "com.tarnwick.vxs"};
  if (!kChannels.count(name)) {
    trace_.add(scheduler_.now(), "notice",
               {{"name", name}, {"info", toJson(PlistValue(userInfo))}});
  }
  auto [first, last] = peers_.equal_range(name);
  for (auto peer = first; peer != last; ++peer) peer->second(userInfo);
  auto posted = std::make_shared<const std::pair<std::string, PlistDict>>(name, userInfo);
  for (size_t i = 0; i < observers_.size(); ++i) {
    const Observer& o = observers_[i];
    if (o.name != name) continue;
    if (deliverImmediately || agentActive_ ||
        o.behavior == NotificationSuspensionBehavior::kDeliverImmediately) {
      flushHeld();
      deliver(o, posted);
    } else if (o.behavior == NotificationSuspensionBehavior::kHold) {
      held_.emplace_back(i, posted);
    } else if (o.behavior == NotificationSuspensionBehavior::kCoalesce) {
      std::erase_if(held_, [i](const auto& h) { return h.first == i; });
      held_.emplace_back(i, posted);
    }
  }
}

void VirtualNotifications::flushHeld() {
  std::vector<std::pair<size_t, Posted>> held;
  held.swap(held_);
  for (auto& [index, posted] : held) deliver(observers_[index], std::move(posted));
}

void VirtualNotifications::setAgentActive(bool active) {
  agentActive_ = active;
  if (active) flushHeld();
}

void VirtualNotifications::listen(const std::string& name, PeerListener listener) {
  peers_.emplace(name, std::move(listener));
}

CFMessagePortRef VirtualMessagePorts::createLocal(const std::string& name,
                                                  MessagePortCallBack callback, void* info) {
  if (listening(name) || local_.count(name)) return nullptr;  // the name is taken
  MessagePort& port = ports_.emplace_back(MessagePort{name, true, callback, info, true, {}});
  local_[name] = &port;
  return &port;
}

CFMessagePortRef VirtualMessagePorts::createRemote(const std::string& name) {
  if (!listening(name) && !local_.count(name)) return nullptr;
  return &ports_.emplace_back(MessagePort{name, false, nullptr, nullptr, true, {}});
}

CFRunLoopSourceRef VirtualMessagePorts::createRunLoopSource(CFMessagePortRef port) {
  return port && port->valid ? &port->source : nullptr;
}

bool VirtualMessagePorts::sendRequest(CFMessagePortRef port, int32_t msgid,
                                      const std::vector<uint8_t>& data, CFTimeInterval sendTimeout,
                                      CFTimeInterval, std::vector<uint8_t>* reply) {
  if (!port || !port->valid) return false;
  if (listening(port->name)) {
    peerRequests_.push_back({port->name, msgid, sendTimeout});
    return true;  // a peer takes the message and answers nothing
  }
  auto target = local_.find(port->name);
  if (target == local_.end() || !target->second->callback) return false;
  MessagePort* local = target->second;
  if (!local->source.served()) return false;  // nobody serves it now: the wait times out
  std::vector<uint8_t> answer;
  auto serve = [&] { local->callback(local, msgid, data, &answer, local->info); };
  LaneId lane = local->source.loop->lane;
  if (lane == scheduler_.currentLane()) {
    serve();
  } else {
    scheduler_.runOnLane(lane, "port", serve);
  }
  if (reply) *reply = std::move(answer);
  return true;
}

void VirtualMessagePorts::invalidate(CFMessagePortRef port) {
  if (!port || !port->valid) return;
  port->valid = false;
  if (port->local) local_.erase(port->name);
}

void VirtualMessagePorts::claim(const std::string& name, int32_t pid) {
  owners_[name] = pid;
}

void VirtualMessagePorts::releaseAllOf(int32_t pid) {
  std::erase_if(owners_, [pid](const auto& entry) { return entry.second == pid; });
}

bool VirtualURLEvents::open(const std::string& url) {
  if (!callback_) return false;
  auto text = std::make_shared<const std::string>(url);
  scheduler_.schedule(scheduler_.now(), Scheduler::kMainLane, "url",
                      [this, text] { callback_(handler_, *text); });
  return true;
}

int64_t VirtualUserNotifications::deliverNotification(const std::string& title,
                                                      const std::string& text,
                                                      const PlistDict& userInfo) {
  int64_t id = nextId_++;
  delivered_[id] = userInfo;
  trace_.add(scheduler_.now(), "notify",
             {{"title", title}, {"text", text}, {"info", toJson(PlistValue(userInfo))}});
  return id;
}

void VirtualUserNotifications::removeDeliveredNotification(int64_t id) {
  delivered_.erase(id);
}

bool VirtualUserNotifications::clickNotification() {
  if (delivered_.empty() || !activated_) return false;
  auto last = std::prev(delivered_.end());
  int64_t id = last->first;
  auto info = std::make_shared<const PlistDict>(last->second);
  scheduler_.schedule(scheduler_.now(), Scheduler::kMainLane, "notification",
                      [this, id, info] { activated_(id, *info); });
  return true;
}

namespace {
nlohmann::json buttonsOf(const DialogTexts& d) {
  nlohmann::json buttons = nlohmann::json::array({d.defaultButton});
  if (d.secondButton) buttons.push_back(*d.secondButton);
  return buttons;
}
}  // namespace

void VirtualUserNotifications::showDialog(const DialogTexts& texts) {
  dialog_ = texts;
  trace_.add(scheduler_.now(), "dialog",
             {{"title", texts.title},
              {"text", texts.informativeText},
              {"buttons", buttonsOf(texts)},
              {"shown", true}});
}

void VirtualUserNotifications::hideDialog() {
  if (!dialog_) return;
  trace_.add(scheduler_.now(), "dialog",
             {{"title", dialog_->title},
              {"text", dialog_->informativeText},
              {"buttons", buttonsOf(*dialog_)},
              {"shown", false}});
  dialog_.reset();
}

bool VirtualUserNotifications::pressDialogButton(const std::string& title) {
  if (!dialog_ || !pressed_) return false;
  bool isDefault = title == dialog_->defaultButton;
  if (!isDefault && dialog_->secondButton != title) return false;
  scheduler_.schedule(scheduler_.now(), Scheduler::kMainLane, "dialog",
                      [this, isDefault] { pressed_(isDefault); });
  return true;
}

int VirtualUserNotifications::runAlert(const std::string& message, const std::string& information,
                                       const std::vector<std::string>& buttons) {
  trace_.add(scheduler_.now(), "dialog",
             {{"title", message}, {"text", information}, {"buttons", buttons}, {"shown", true}});
  if (runModal_) runModal_(kAlertReadingTime);
  trace_.add(scheduler_.now(), "dialog",
             {{"title", message}, {"text", information}, {"buttons", buttons}, {"shown", false}});
  return 0;
}

bool VirtualUserNotifications::openURL(const std::string& url) {
  trace_.add(scheduler_.now(), "open", {{"url", url}});
  return true;
}

}  // namespace vsession
