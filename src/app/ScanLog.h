#pragma once
#include <QLoggingCategory>

// What the scan cycle does and finds, for support staff: state changes,
// repairs, uploads, helper starts.
Q_DECLARE_LOGGING_CATEGORY(lcScan)
