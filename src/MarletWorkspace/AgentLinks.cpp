#include "MarletWorkspace/AgentLinks.h"
