#pragma once
// A progress caption (the main form's status label) that keeps every text it
// was given.
#include "support/ProgressCaption.h"

#include <QStringList>

namespace orvex::test {

struct CaptionLog final : ProgressCaption
{
    void setCaption(const QString &caption) override { captions << caption; }
    QStringList captions;
};

} // namespace orvex::test
