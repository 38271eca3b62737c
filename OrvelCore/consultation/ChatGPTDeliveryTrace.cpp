#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"
