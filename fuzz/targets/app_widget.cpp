// The widget's snapshot file, as the desktop widget reads it back.
#include "app/widgetsnapshot.h"
#include "fuzz/target.h"

VELOTTE_FUZZ_TARGET(app_widget)
{
    if (const auto snapshot = velotte::ControllerWidgetSnapshot::decode(data))
        velotte::ControllerWidgetSnapshot::decode(snapshot->encode());
}
