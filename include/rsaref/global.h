/*
 * global.h -- basic types of the cryptographic toolkit interface.
 *
 * Hosts written against the toolkit include this header first, then
 * "rsaref.h"; every toolkit header also includes it itself.
 */
#ifndef RSAREF_GLOBAL_H
#define RSAREF_GLOBAL_H

#include <stdint.h>

/* Kept for compatibility: hosts may test or set it; prototypes are always on. */
#ifndef PROTOTYPES
#define PROTOTYPES 1
#endif

/* A generic pointer to bytes. */
typedef unsigned char *POINTER;
/* 16-bit unsigned word. */
typedef uint16_t UINT2;
/* 32-bit unsigned word: the record layouts depend on it being 32 bits. */
typedef uint32_t UINT4;

#ifndef NULL_PTR
#define NULL_PTR ((POINTER)0)
#endif

/* PROTO_LIST(list) expands to the parameter list. */
#define PROTO_LIST(list) list

/* Declarations of the toolkit functions: exported from libmc, never throwing. */
#if defined(__GNUC__) || defined(__clang__)
#define RSAREF_EXPORT __attribute__((visibility("default")))
#else
#define RSAREF_EXPORT
#endif
#ifdef __cplusplus
#define RSAREF_NOEXCEPT noexcept
#else
#define RSAREF_NOEXCEPT
#endif

#endif /* RSAREF_GLOBAL_H */
