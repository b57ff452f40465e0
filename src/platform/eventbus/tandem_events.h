// The event classes of the bus. Each SDK of the family announces its own identifiers under its own
// class; the native analytics SDK's events all descend from TandemOBXEvent, so that it can tell its
// own traffic from its siblings'.
#pragma once

#include "platform/eventbus/tandem_event.h"

namespace obx::platform {

#define OBX_TANDEM_EVENT_CLASS(Name, Super)                            \
  class Name : public Super {                                          \
   public:                                                             \
    using Super::Super;                                                \
    const char* className() const override { return #Name; }           \
  };

// A sibling's visitor identifier (a string).
OBX_TANDEM_EVENT_CLASS(TandemVKEvent, TandemEvent)
// A sibling's tracking identifier (a string).
OBX_TANDEM_EVENT_CLASS(TandemZRTEvent, TandemEvent)
// What this SDK says on the bus.
OBX_TANDEM_EVENT_CLASS(TandemOBXEvent, TandemEvent)
// The public session identifier of a new session.
OBX_TANDEM_EVENT_CLASS(TandemOBXSessionIdUpdated, TandemOBXEvent)
// The lead identifier, when it changed.
OBX_TANDEM_EVENT_CLASS(TandemOBXLeadIdUpdated, TandemOBXEvent)

#undef OBX_TANDEM_EVENT_CLASS

}  // namespace obx::platform
