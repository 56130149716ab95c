/** A host written in C99: what the public header gives it. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*AnyFunction)(void);

/** @param count  receives how many there are @return the address of every function of the header, in its
 * order */
const AnyFunction* FunctionsInC(size_t* count);

/** Size of an entry of the list as C lays it out. */
size_t EntryBytesInC(void);

#ifdef __cplusplus
}
#endif
