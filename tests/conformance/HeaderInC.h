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

/*
 * Records as C lays them out: where each field begins, in the order of the header, and last the record's
 * size. count  receives how many numbers there are
 */
const size_t* InstallRequestInC(size_t* count);
const size_t* UninstallRequestInC(size_t* count);
const size_t* EntryInC(size_t* count);

#ifdef __cplusplus
}
#endif
