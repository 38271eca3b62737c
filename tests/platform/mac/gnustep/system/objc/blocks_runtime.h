#pragma once
// Where GNUstep's headers look for the runtime of blocks.

#include <Block.h>
