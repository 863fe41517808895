#include "MarletWorkspace/ProcessRunner.h"
