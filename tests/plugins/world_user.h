/* The orders a test host gives the world_user plug-in: message
   WORLD_USER_ORDER with a WorldUserOrder* param. */
#ifndef WORLD_USER_H
#define WORLD_USER_H

#define WORLD_USER_ORDER 0x7100

enum {
    kCreateProbe = 1,   /* arg: type; out handle */
    kDestroyProbe,      /* handle */
    kProbe,             /* handle, arg: structSize; out result */
    kLoadObject,        /* text: path; out handle */
    kLoadObjectAsync,   /* text: path */
    kUnloadObject,      /* handle */
    kDrawObject,        /* handle; one placement at (0,0,0) with angles 1, 2, 3 */
    kControlCamera,     /* arg: duration */
    kAcquirePlanes,     /* arg: 1 with a callback; out result */
    kReleasePlanes,
    kSetPlaneLimit      /* arg: count */
};

typedef struct WorldUserOrder {
    int what;
    int arg;
    const char* text;
    void* handle;
    int result;
} WorldUserOrder;

#endif
