#pragma once

#include "browse/householdfollower.h"
#include "browse/playhistory.h"

#include <QCoroTask>
#include <QString>

namespace velotte {

// What the session needs of the sign-in: SonosAuth implements it.
class SignInService {
public:
    virtual ~SignInService() = default;
    // Loads the stored sign-in; true when one is present.
    virtual QCoro::Task<bool> restore() = 0;
    // Runs the interactive sign-in; throws on failure or Cancelled.
    virtual QCoro::Task<void> authorize() = 0;
    virtual void signOut() = 0;
};

} // namespace velotte
