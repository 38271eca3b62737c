#include "Orvel/consultation/ChatGPTReadFailures.h"
