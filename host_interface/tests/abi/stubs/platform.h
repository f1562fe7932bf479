#include "standard.h"
