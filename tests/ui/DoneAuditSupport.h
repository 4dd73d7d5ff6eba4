#pragma once
// Driving the long wizard pages like a user: wait for the page change to end (the stack takes no
// clicks while it animates), then scroll an item into view before clicking it.

#include "UiTestSupport.h"

#include <QQuickItem>

namespace ondrel::test {

inline bool waitForSettledPages(QuickRig& rig) {
    return waitFor([&] {
        QQuickItem* pages = rig.find(QStringLiteral("wizardPages"));
        return pages && !pages->property("busy").toBool();
    });
}

// Scrolls the nearest scrolling view so that the item stands in the middle of it, then clicks it.
inline void revealAndClick(QuickRig& rig, const QString& name) {
    QQuickItem* item = nullptr;
    waitFor([&] { return (item = rig.find(name)) != nullptr; }, 2000);
    ASSERT_TRUE(item) << name.toStdString();
    for (QQuickItem* up = item->parentItem(); up; up = up->parentItem()) {
        if (!up->inherits("QQuickFlickable"))
            continue;
        auto* content = up->property("contentItem").value<QQuickItem*>();
        const qreal y = item->mapToItem(content, QPointF(0, item->height() / 2)).y();
        const qreal most = std::max<qreal>(0, up->property("contentHeight").toReal() - up->height());
        up->setProperty("contentY", std::clamp<qreal>(y - up->height() / 2, 0, most));
        QTest::qWait(20);
        break;
    }
    rig.click(name);
}

} // namespace ondrel::test
