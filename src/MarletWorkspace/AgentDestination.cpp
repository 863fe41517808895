#include "MarletWorkspace/AgentDestination.h"
