#pragma once

#include <QTest>

/// Whether `condition` comes true, looking at it again and again. Pending events run meanwhile.
template <class Condition>
bool eventually(Condition condition, int patienceMs = 30000)
{
    return QTest::qWaitFor(condition, patienceMs);
}
