/* The request that the agent test plug-in carries out as itself. */
#ifndef VORN_TEST_AGENT_H
#define VORN_TEST_AGENT_H

#define AGENT_RUN_MESSAGE 0x7A00

struct AgentRun {
    void (*fn)(void* context);
    void* context;
};

#endif
