#include "platform/DisplaySetup.h"

#include <QByteArray>
#include <QtGlobal>

namespace orvex::platform {
namespace {

void setUnlessSet(const char *name, const char *value)
{
    if (!qEnvironmentVariableIsSet(name))
        qputenv(name, QByteArray(value));
}

} // namespace

void prepareDisplay()
{
    // The tray picture changes every second. Through a shared-memory segment
    // each change costs a round trip to the X server, which must be done
    // reading before the segment is painted again; the pictures are a few
    // kilobytes, cheaper sent inline with the request.
    setUnlessSet("QT_XCB_NO_MITSHM", "1");
    // Nothing here draws with OpenGL: its libraries need not be loaded.
    setUnlessSet("QT_XCB_GL_INTEGRATION", "none");
}

} // namespace orvex::platform
