#include "MarletWorkspace/RepositoryCoordinates.h"
