#include "MarletWorkspace/CheckoutError.h"
