#include "OrvelCore/consultation/ChatGPTPointerHit.h"
