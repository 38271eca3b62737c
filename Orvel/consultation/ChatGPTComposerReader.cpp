#include "Orvel/consultation/ChatGPTComposerReader.h"
