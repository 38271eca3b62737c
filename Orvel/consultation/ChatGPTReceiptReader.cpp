#include "Orvel/consultation/ChatGPTReceiptReader.h"
