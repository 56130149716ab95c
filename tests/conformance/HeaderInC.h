/** A host written in C99, which sees only the public header. */
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*AnyFunction)(void);

/**
 * @param count  out: the number of functions
 * @return the address of each function, in the order of the header
 */
const AnyFunction* FunctionsInC(size_t* count);

/*
 * The layout of a record in C.
 * count   out: the number of results
 * return  the offset of each field, in the order of the header, then the size of the record
 */
const size_t* InstallRequestInC(size_t* count);
const size_t* UninstallRequestInC(size_t* count);
const size_t* EntryInC(size_t* count);

#ifdef __cplusplus
}
#endif
