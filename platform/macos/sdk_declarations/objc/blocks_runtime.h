// Declarations only, for the Linux compile check: GNUstep's headers include this file when
// the compiler has blocks. These are the block copy and release calls of Apple's Block.h
// (Page: Objective-C Runtime > Blocks Programming Topics); nothing here is defined.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif
void* _Block_copy(const void* block);
void _Block_release(const void* block);
#ifdef __cplusplus
}
#endif
#define Block_copy(block) ((__typeof(block))_Block_copy((const void*)(block)))
#define Block_release(block) _Block_release((const void*)(block))
