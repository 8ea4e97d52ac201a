// Every field of the settings record, in declaration order, as X(type, name), arrays as
// A(type, name, count) and the two device blocks as B(type, name). The record and its
// by-name listing are both made from these lists.
#pragma once

// clang-format off
// One device block; the wheel's and the trackpad's hold the same fields in the same order.
#define VARSEL_DEVICE_BLOCK_FIELDS(X, dev, nudgeOrLift)                               \
  X(uint8_t, dev##On) X(uint8_t, dev##ActiveHere)                                     \
  X(uint8_t, dev##DisWCapsLock) X(uint8_t, dev##DisWCommand) X(uint8_t, dev##DisWShift) \
  X(uint8_t, dev##DisWControl) X(uint8_t, dev##DisWOption)                            \
  X(uint8_t, dev##SpeedOn) X(uint16_t, dev##Speed) X(uint8_t, dev##SpeedSlower)       \
  X(uint8_t, dev##SpeedXOn) X(uint16_t, dev##SpeedX) X(uint8_t, dev##SpeedSlowerX)    \
  X(uint8_t, dev##ModSpeedOn) X(uint16_t, dev##ModSpeed) X(uint16_t, dev##Mod)        \
  X(uint8_t, dev##ModSpeedXOn) X(uint8_t, dev##ReverseX) X(uint8_t, dev##ReverseY)    \
  X(uint8_t, dev##ReverseOnlyWithModOn) X(uint16_t, dev##ReverseMod)                  \
  X(uint8_t, dev##CoastVOn) X(uint8_t, dev##CoastHOn) X(uint16_t, dev##CoastFactor)   \
  X(uint8_t, nudgeOrLift) X(uint8_t, wacomCompatible)

#define VARSEL_WHEEL_BLOCK_FIELDS(X) VARSEL_DEVICE_BLOCK_FIELDS(X, wheel, wheelNudgeCursorToStop)
#define VARSEL_PAD_BLOCK_FIELDS(X) VARSEL_DEVICE_BLOCK_FIELDS(X, pad, padLiftFingersToCoast)

#define VARSEL_PREFS_RECORD_FIELDS(X, A, B)                                           \
  X(uint8_t, hoverActiveOnly) X(uint16_t, dragSlop)                                   \
  B(WheelBlock, wheel) X(uint16_t, wheelSingleTickSpeed)                              \
  B(PadBlock, pad)                                                                    \
  X(uint8_t, hoverOn) X(uint8_t, hoverHOn) X(uint8_t, hoverModOn)                     \
  X(uint8_t, hoverReverseYOn) X(uint16_t, hoverMod) X(uint16_t, hoverVpercent)        \
  X(uint16_t, hoverHpercent) X(uint16_t, hoverVmax) X(uint16_t, hoverHmax)            \
  X(uint16_t, hoverVspeed)                                                            \
  X(uint8_t, autoScrollOn) X(uint16_t, autoScrollMod) X(uint8_t, autoScrollSpeed)     \
  X(uint8_t, autoScrollTriggerKind) X(uint32_t, autoScrollHotKeyMods)                 \
  X(uint32_t, autoScrollHotKeyChar) X(uint8_t, autoScrollReverseYOn)                  \
  X(uint8_t, autoScrollUpOn) X(uint8_t, autoScrollUpTriggerKind)                      \
  X(uint16_t, autoScrollUpMod) X(uint32_t, autoScrollUpHotKeyMods)                    \
  X(uint32_t, autoScrollUpHotKeyChar)                                                 \
  X(uint8_t, grabOn) X(uint8_t, grabShowHand) X(uint8_t, grabButton)                  \
  X(uint8_t, grabTriggerKind) X(uint8_t, grabDisWCapsLock) X(uint8_t, grabDisWCommand) \
  X(uint8_t, grabDisWShift) X(uint8_t, grabDisWControl) X(uint8_t, grabDisWOption)    \
  X(uint8_t, grabSpeedOn) X(uint8_t, grabSpeed) X(uint16_t, grabMod)                  \
  X(uint8_t, grabModSpeed) X(uint8_t, grabModSpeedSlower) X(uint8_t, grabSnapToAxis)  \
  X(uint8_t, grabFreezeOn) X(uint8_t, grabReverseXOn) X(uint8_t, grabReverseYOn)      \
  X(uint8_t, grabCoastOn) X(uint8_t, grabEatMDown) X(uint16_t, grabCoastFactor)       \
  X(uint32_t, grabHotKeyMods) X(uint32_t, grabHotKeyChar)                             \
  X(uint8_t, keysOn) X(uint8_t, keysProgressiveStartOn) X(uint8_t, keysSpeed)         \
  A(uint16_t, keysHoldMod, 5) A(uint16_t, keysPressMod, 5)                            \
  X(uint8_t, keysHKUpOn) X(uint8_t, keysHKDownOn) X(uint8_t, keysHKLeftOn)            \
  X(uint8_t, keysHKRightOn)                                                           \
  X(uint32_t, keysHotKeyUpMods) X(uint32_t, keysHotKeyUpChar)                         \
  X(uint32_t, keysHotKeyDownMods) X(uint32_t, keysHotKeyDownChar)                     \
  X(uint32_t, keysHotKeyLeftMods) X(uint32_t, keysHotKeyLeftChar)                     \
  X(uint32_t, keysHotKeyRightMods) X(uint32_t, keysHotKeyRightChar)                   \
  X(uint8_t, vectorOn) X(uint8_t, vectorButton) X(uint8_t, vectorTriggerKind)         \
  X(uint8_t, vectorEatMDown) X(uint8_t, vectorDisWCapsLock)                           \
  X(uint8_t, vectorDisWCommand) X(uint8_t, vectorDisWShift)                           \
  X(uint8_t, vectorDisWControl) X(uint8_t, vectorDisWOption)                          \
  X(uint8_t, vectorReverseXOn) X(uint8_t, vectorReverseYOn) X(uint8_t, vectorUseGray) \
  X(uint16_t, vectorMaxRadius) X(uint16_t, vectorVspeed) X(uint16_t, vectorVspeedScaled) \
  X(uint32_t, vectorHotKeyMods) X(uint32_t, vectorHotKeyChar)
// clang-format on
