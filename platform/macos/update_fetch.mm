// Update check: the version list fetch (NSURLConnection), the user notification centre, the
// checker's dialog window, NSAlert and -[NSWorkspace openURL:].
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <unistd.h>

#include <map>

#include "bridge.h"
#include "platform/api/update_fetch.h"
#include "ports.h"

namespace {
// The user info key that carries a notification's id through the centre, which may hand
// back a copy of the notification rather than the one delivered. The key names the process,
// as ids count from 1 in each run and a notification may outlive the run that posted it. Every
// such key is taken out before the agent sees the user info.
NSString* const kNotificationIdPrefix = @"com.tarnwick.varsel4b.notificationId.";

NSString* notificationIdKey() {
  return [NSString stringWithFormat:@"%@%d", kNotificationIdPrefix, getpid()];
}

port::NotificationActivatedCallBack sActivated = nullptr;
port::DialogButtonCallBack sDialogButton = nullptr;
}  // namespace

// Shows notifications even while the agent is active, and reports a click on one.
@interface VarselUserNotificationDelegate : NSObject <NSUserNotificationCenterDelegate>
@end

@implementation VarselUserNotificationDelegate
- (BOOL)userNotificationCenter:(NSUserNotificationCenter*)center
     shouldPresentNotification:(NSUserNotification*)notification {
  (void)center;
  (void)notification;
  return YES;
}
- (void)userNotificationCenter:(NSUserNotificationCenter*)center
       didActivateNotification:(NSUserNotification*)notification {
  (void)center;
  if (sActivated == nullptr) return;
  NSMutableDictionary* userInfo = [[[notification userInfo] mutableCopy] autorelease];
  int64_t notificationId =
      [[userInfo objectForKey:notificationIdKey()] longLongValue];  // 0: another run's
  for (id key in [userInfo allKeys]) {
    if ([key isKindOfClass:[NSString class]] && [key hasPrefix:kNotificationIdPrefix])
      [userInfo removeObjectForKey:key];
  }
  sActivated(notificationId, macos::toPlistDict(userInfo));
}
@end

// The two buttons of the checker's dialog.
@interface VarselDialogButtons : NSObject
- (void)defaultPressed:(id)sender;
- (void)secondPressed:(id)sender;
@end

@implementation VarselDialogButtons
- (void)defaultPressed:(id)sender {
  (void)sender;
  if (sDialogButton != nullptr) sDialogButton(true);
}
- (void)secondPressed:(id)sender {
  (void)sender;
  if (sDialogButton != nullptr) sDialogButton(false);
}
@end

namespace macos {
namespace {

// -sendSynchronousRequest:returningResponse:error: is deprecated from 10.11; the check runs
// on a thread of its own and waits for the answer, with the request's time-out.
class UpdateFetch final : public port::UpdateFetch {
 public:
  std::optional<std::vector<uint8_t>> dataWithContentsOfURL(const std::string& url,
                                                            double timeoutSeconds) override {
    NSURL* address = [NSURL URLWithString:toNSString(url)];
    if (address == nil) return std::nullopt;
    NSURLRequest* request = [NSURLRequest requestWithURL:address
                                             cachePolicy:NSURLRequestReloadIgnoringLocalCacheData
                                         timeoutInterval:timeoutSeconds];
    NSURLResponse* response = nil;
    NSData* body = [NSURLConnection sendSynchronousRequest:request
                                         returningResponse:&response
                                                     error:nullptr];
    if (body == nil) return std::nullopt;
    if ([response isKindOfClass:[NSHTTPURLResponse class]] &&
        [(NSHTTPURLResponse*)response statusCode] != 200)
      return std::nullopt;
    return toBytes(body);
  }
};

// The checker's small dialog: a title, an informative text, a default button and a second
// button, in a window made once and kept.
class Dialog {
 public:
  void show(const port::DialogTexts& texts) {
    make();
    [title_ setStringValue:toNSString(texts.title)];
    [information_ setStringValue:toNSString(texts.informativeText)];
    [defaultButton_ setTitle:toNSString(texts.defaultButton)];
    [secondButton_ setHidden:!texts.secondButton];
    if (texts.secondButton) [secondButton_ setTitle:toNSString(*texts.secondButton)];
    [window_ makeKeyAndOrderFront:nil];
  }
  void hide() { [window_ orderOut:nil]; }

 private:
  static NSTextField* label(NSRect frame, NSFont* font) {
    NSTextField* field = [[NSTextField alloc] initWithFrame:frame];
    [field setEditable:NO];
    [field setSelectable:NO];
    [field setBezeled:NO];
    [field setDrawsBackground:NO];
    [field setFont:font];
    return field;
  }
  static NSButton* button(NSRect frame, id target, SEL action) {
    NSButton* made = [[NSButton alloc] initWithFrame:frame];
    [made setBezelStyle:NSRoundedBezelStyle];
    [made setTarget:target];
    [made setAction:action];
    return made;
  }
  void make() {
    if (window_ != nil) return;
    window_ = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, 440, 150)
                                          styleMask:NSTitledWindowMask | NSClosableWindowMask
                                            backing:NSBackingStoreBuffered
                                              defer:YES];
    [window_ setReleasedWhenClosed:NO];  // closing it only hides it; it is shown again later
    [window_ center];
    NSView* content = [window_ contentView];
    targets_ = [[VarselDialogButtons alloc] init];
    title_ = label(NSMakeRect(20, 106, 400, 22), [NSFont boldSystemFontOfSize:13]);
    information_ = label(NSMakeRect(20, 52, 400, 50), [NSFont systemFontOfSize:11]);
    [[information_ cell] setWraps:YES];
    defaultButton_ = button(NSMakeRect(300, 12, 124, 32), targets_, @selector(defaultPressed:));
    [defaultButton_ setKeyEquivalent:@"\r"];
    secondButton_ = button(NSMakeRect(170, 12, 124, 32), targets_, @selector(secondPressed:));
    for (NSView *view in
         [NSArray arrayWithObjects:title_, information_, defaultButton_, secondButton_, nil])
      [content addSubview:view];
  }

  NSWindow* window_ = nil;
  VarselDialogButtons* targets_ = nil;
  NSTextField* title_ = nil;
  NSTextField* information_ = nil;
  NSButton* defaultButton_ = nil;
  NSButton* secondButton_ = nil;
};

// NSUserNotificationCenter is available from 10.8 and deprecated from 11; the agent uses it
// on the systems that have it.
class UserNotifications final : public port::UserNotifications {
 public:
  int64_t deliverNotification(const std::string& title, const std::string& text,
                              const port::PlistDict& userInfo) override {
    NSUserNotificationCenter* center = [NSUserNotificationCenter defaultUserNotificationCenter];
    int64_t notificationId = ++lastId_;
    NSMutableDictionary* info =
        [NSMutableDictionary dictionaryWithDictionary:toNSDictionary(userInfo)];
    [info setObject:[NSNumber numberWithLongLong:notificationId] forKey:notificationIdKey()];
    NSUserNotification* notification = [[NSUserNotification alloc] init];
    [notification setTitle:toNSString(title)];
    [notification setInformativeText:toNSString(text)];
    [notification setUserInfo:info];
    [center deliverNotification:notification];
    delivered_[notificationId] = notification;  // kept, with its reference, until it is removed
    return notificationId;
  }
  // The agent sets its handler at launch, so the delegate is in place before any click,
  // one on a notification left from an earlier run included. The centre does not retain its
  // delegate: the one reference is kept here for the life of the process.
  void setActivationHandler(port::NotificationActivatedCallBack callback) override {
    sActivated = callback;
    NSUserNotificationCenter* center = [NSUserNotificationCenter defaultUserNotificationCenter];
    if ([center delegate] != nil) return;
    static VarselUserNotificationDelegate* const delegate =
        [[VarselUserNotificationDelegate alloc] init];
    [center setDelegate:delegate];
  }
  void removeDeliveredNotification(int64_t id) override {
    auto found = delivered_.find(id);
    if (found == delivered_.end()) return;
    [[NSUserNotificationCenter defaultUserNotificationCenter]
        removeDeliveredNotification:found->second];
    [found->second release];
    delivered_.erase(found);
  }
  void showDialog(const port::DialogTexts& texts) override { dialog_.show(texts); }
  void hideDialog() override { dialog_.hide(); }
  void setDialogButtonHandler(port::DialogButtonCallBack callback) override {
    sDialogButton = callback;
  }
  int runAlert(const std::string& message, const std::string& information,
               const std::vector<std::string>& buttons) override {
    NSAlert* alert = [[NSAlert alloc] init];
    [alert setMessageText:toNSString(message)];
    [alert setInformativeText:toNSString(information)];
    for (const std::string& title : buttons) [alert addButtonWithTitle:toNSString(title)];
    NSInteger pressed = [alert runModal];
    [alert release];
    return static_cast<int>(pressed - NSAlertFirstButtonReturn);
  }
  bool openURL(const std::string& url) override {
    NSURL* address = [NSURL URLWithString:toNSString(url)];
    return address != nil && [[NSWorkspace sharedWorkspace] openURL:address];
  }

 private:
  int64_t lastId_ = 0;
  std::map<int64_t, NSUserNotification*> delivered_;
  Dialog dialog_;
};

}  // namespace

port::UpdateFetch& updateFetch() {
  static UpdateFetch instance;
  return instance;
}
port::UserNotifications& userNotifications() {
  static UserNotifications instance;
  return instance;
}

}  // namespace macos
