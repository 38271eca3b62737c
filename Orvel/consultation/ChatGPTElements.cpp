#include "Orvel/consultation/ChatGPTElements.h"
