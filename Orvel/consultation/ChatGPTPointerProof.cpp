#include "Orvel/consultation/ChatGPTPointerProof.h"
