#include "OrvelCore/consultation/ChatGPTComposerShape.h"
