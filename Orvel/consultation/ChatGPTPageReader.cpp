#include "Orvel/consultation/ChatGPTPageReader.h"
