#include "Orvel/consultation/ChatGPTDeliveryAttempt.h"
