/* The request that the threaded test plug-in carries out: the message
   THREADED_RUN_MESSAGE (on another thread of its own, which it joins before
   returning) or THREADED_RUN_HERE_MESSAGE (on the calling thread) with a
   pointer to a ThreadedCalls. */
#ifndef VORN_TEST_THREADED_H
#define VORN_TEST_THREADED_H

#define THREADED_RUN_MESSAGE 0x7100
#define THREADED_RUN_HERE_MESSAGE 0x7101

struct ThreadedCalls {
    /* in */
    const char* dataRefName;
    void* dataRef;
    /* out: what the API answered */
    void* found;     /* VORNFindDataRef(dataRefName) */
    int value;       /* VORNGetDatai(dataRef) */
    int valueAgain;  /* the same once more */
    int myId;        /* VORNGetMyID() */
};

#endif
