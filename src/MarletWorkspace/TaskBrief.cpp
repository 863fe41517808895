#include "MarletWorkspace/TaskBrief.h"
