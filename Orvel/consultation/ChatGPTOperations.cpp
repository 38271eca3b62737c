#include "Orvel/consultation/ChatGPTOperations.h"
