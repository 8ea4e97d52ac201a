// Declarations only, for the Linux compile check: the Foundation and AppKit methods the
// adapter calls that GNUstep's headers lack, written from Apple's AppKit and Foundation
// references. The check forces this file in before every adapter file; a Mac build never
// sees it.
#pragma once

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <CoreGraphics/CoreGraphics.h>

// Page: AppKit > NSEvent (eventWithCGEvent:, scrollingDeltaX, scrollingDeltaY,
// hasPreciseScrollingDeltas).
@interface NSEvent (VarselAppleSDK)
+ (NSEvent*)eventWithCGEvent:(CGEventRef)cgEvent;
- (CGFloat)scrollingDeltaX;
- (CGFloat)scrollingDeltaY;
- (BOOL)hasPreciseScrollingDeltas;
@end

// Page: AppKit > NSApplication (setActivationPolicy:).
@interface NSApplication (VarselAppleSDK)
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
@end

// Page: AppKit > NSUserInterfaceItemIdentification (identifier), which NSWindow adopts.
@interface NSWindow (VarselAppleSDK)
- (void)setIdentifier:(NSString*)identifier;
@end

// Page: Foundation > NSAppleEventManager and NSAppleEventDescriptor.
@interface NSAppleEventManager (VarselAppleSDK)
+ (NSAppleEventManager*)sharedAppleEventManager;
- (void)setEventHandler:(id)handler
            andSelector:(SEL)handleEventSelector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)eventID;
@end
@interface NSAppleEventDescriptor (VarselAppleSDK)
- (NSAppleEventDescriptor*)paramDescriptorForKeyword:(AEKeyword)keyword;
- (NSString*)stringValue;
@end

// Page: Foundation > NSAppleScript.
@interface NSAppleScript (VarselAppleSDK)
- (id)initWithSource:(NSString*)source;
- (NSAppleEventDescriptor*)executeAndReturnError:(NSDictionary**)errorInfo;
@end
extern NSString* const NSAppleScriptErrorMessage;
