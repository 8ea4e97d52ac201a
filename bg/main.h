// The agent's process-level entry points.
#pragma once

// Restores every module to its state at process start; a virtual-session run is a fresh
// process.
void agent_resetModules();
// The program: runs the application, whose delegate starts the agent once launching is done.
int agent_main();
