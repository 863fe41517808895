#include "MarletWorkspace/CheckoutService.h"
