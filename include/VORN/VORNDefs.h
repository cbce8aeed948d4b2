/*
 * VORNDefs.h - definitions shared by every VORN header.
 *
 * All VORN headers are plain C (C99) and may be included from C and C++.
 * Every API function runs on the host's main thread only; none is safe to
 * call from another thread.
 */
#ifndef VORN_DEFS_H
#define VORN_DEFS_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define VORN_API __attribute__((visibility("default")))
#else
#define VORN_API
#endif

#ifdef __cplusplus
#define VORN_BEGIN_DECLS extern "C" {
#define VORN_END_DECLS }
#else
#define VORN_BEGIN_DECLS
#define VORN_END_DECLS
#endif

/* Compile-time check usable at file scope in C99, C11 and C++. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define VORN_STATIC_ASSERT(cond, tag) static_assert(cond, #tag)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define VORN_STATIC_ASSERT(cond, tag) _Static_assert(cond, #tag)
#else
#define VORN_STATIC_ASSERT(cond, tag) typedef char vorn_static_assert_##tag[(cond) ? 1 : -1]
#endif

/* A plug-in id: an index into the plug-in registry. 0 is the host itself,
   1 and up are plug-ins in load order, -1 means "no plug-in". */
typedef int VORNPluginID;

#define VORN_NO_PLUGIN_ID (-1)
#define VORN_HOST_PLUGIN_ID 0

/* Size of the text buffers that the API fills for plug-ins. */
#define VORN_NAME_BUFFER_SIZE 256
#define VORN_PATH_BUFFER_SIZE 512

#endif /* VORN_DEFS_H */
