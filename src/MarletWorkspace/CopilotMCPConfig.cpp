#include "MarletWorkspace/CopilotMCPConfig.h"
