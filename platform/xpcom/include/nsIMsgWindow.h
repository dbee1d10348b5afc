// The host's message window. A plug-in only passes it along, so only nsISupports is declared;
// the window's own methods are left out.
#pragma once

#include "nsISupports.h"

#define NS_IMSGWINDOW_IID_STR "bce0ab71-11ff-428e-9edc-69abad73b697"
#define NS_IMSGWINDOW_IID                                                                          \
  {                                                                                                \
    0xbce0ab71, 0x11ff, 0x428e, {                                                                  \
      0x9e, 0xdc, 0x69, 0xab, 0xad, 0x73, 0xb6, 0x97                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIMsgWindow : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGWINDOW_IID)
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgWindow, NS_IMSGWINDOW_IID)
