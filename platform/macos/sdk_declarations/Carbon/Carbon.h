// Declarations only, for the Linux compile check: the classic Carbon and Core Services calls
// the adapter makes (the Process Manager, Folder Manager, Gestalt and the shared file list of
// login items), written from Apple's Carbon and Core Services references. Nothing here is
// defined. All of these are deprecated on current systems; the agent needs them on the
// systems it supports.
#pragma once

#include <ApplicationServices/ApplicationServices.h>
#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { noErr = 0 };

// Page: Core Services > Process Manager (GetProcessForPID, GetFrontProcess, GetProcessPID,
// GetProcessInformation, CopyProcessName).
struct ProcessSerialNumber {
  UInt32 highLongOfPSN;
  UInt32 lowLongOfPSN;
};
typedef struct ProcessSerialNumber ProcessSerialNumber;
struct FSRef {
  UInt8 hidden[80];
};
typedef struct FSRef FSRef;
struct ProcessInfoRec {
  UInt32 processInfoLength;
  StringPtr processName;
  ProcessSerialNumber processNumber;
  UInt32 processType;
  OSType processSignature;
  UInt32 processMode;
  void* processLocation;
  UInt32 processSize;
  UInt32 processFreeMem;
  ProcessSerialNumber processLauncher;
  UInt32 processLaunchDate;
  UInt32 processActiveTime;
  FSRef* processAppRef;
};
typedef struct ProcessInfoRec ProcessInfoRec;
OSStatus GetProcessForPID(pid_t pid, ProcessSerialNumber* psn);
OSErr GetFrontProcess(ProcessSerialNumber* psn);
OSStatus GetProcessPID(const ProcessSerialNumber* psn, pid_t* pid);
OSErr GetProcessInformation(const ProcessSerialNumber* psn, ProcessInfoRec* info);
OSStatus CopyProcessName(const ProcessSerialNumber* psn, CFStringRef* name);

// Page: Core Services > Folder Manager (FSFindFolder) and File Manager (FSRefMakePath).
enum { kUserDomain = -32763 };
enum { kDontCreateFolder = 0 };
OSErr FSFindFolder(SInt16 vRefNum, OSType folderType, Boolean createFolder, FSRef* foundRef);
OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 pathBufferSize);

// Page: Core Services > Gestalt Manager.
enum {
  gestaltSystemVersionMajor = 0x73797331,  // 'sys1'
  gestaltSystemVersionMinor = 0x73797332,  // 'sys2'
  gestaltSystemVersionBugFix = 0x73797333  // 'sys3'
};
OSErr Gestalt(OSType selector, SInt32* response);

// Page: Core Services > Launch Services > LSSharedFileList.
typedef struct OpaqueLSSharedFileListRef* LSSharedFileListRef;
typedef struct OpaqueLSSharedFileListItemRef* LSSharedFileListItemRef;
extern const CFStringRef kLSSharedFileListSessionLoginItems;
extern const LSSharedFileListItemRef kLSSharedFileListItemLast;
typedef struct OpaqueIconRef* IconRef;
LSSharedFileListRef LSSharedFileListCreate(CFAllocatorRef allocator, CFStringRef listType,
                                           CFTypeRef listOptions);
CFArrayRef LSSharedFileListCopySnapshot(LSSharedFileListRef list, UInt32* seed);
UInt32 LSSharedFileListItemGetID(LSSharedFileListItemRef item);
CFStringRef LSSharedFileListItemCopyDisplayName(LSSharedFileListItemRef item);
LSSharedFileListItemRef LSSharedFileListInsertItemURL(LSSharedFileListRef list,
                                                      LSSharedFileListItemRef insertAfterThisItem,
                                                      CFStringRef displayName, IconRef icon,
                                                      CFURLRef url, CFDictionaryRef propertiesToSet,
                                                      CFArrayRef propertiesToClear);
OSStatus LSSharedFileListItemRemove(LSSharedFileListRef list, LSSharedFileListItemRef item);

// Page: Core Services > Apple Event Manager (event classes, event IDs and keywords).
typedef FourCharCode AEEventClass;
typedef FourCharCode AEEventID;
typedef FourCharCode AEKeyword;
enum {
  kInternetEventClass = 0x4755524C,  // 'GURL'
  kAEGetURL = 0x4755524C,            // 'GURL'
  keyDirectObject = 0x2D2D2D2D       // '----'
};

#ifdef __cplusplus
}
#endif
