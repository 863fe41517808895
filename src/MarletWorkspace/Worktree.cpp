#include "MarletWorkspace/Worktree.h"
