// The header sink is declared with the MIME status interfaces.
#pragma once

#include "nsIMimeMiscStatus.h"
