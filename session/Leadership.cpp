#include "session/Leadership.hpp"

#include "session/View.hpp"

namespace Datamodel {

Leadership::Leadership()
    : CanvasElement(Tessel::Element::Flags::fromBits(0)),
      leaderViewName(this, QByteArrayLiteral("leader-view-name")),
      leaderMode(this, QByteArrayLiteral("leader-mode"), LEADER_MODE_NONE),
      leaderStartTime(this, QByteArrayLiteral("leader-start-time"), Cobalt::TimeStamp()) {}

QByteArray const& Leadership::defaultName() {
    static QByteArray const name = QByteArrayLiteral("leadership");
    return name;
}

void Leadership::setLeader(View const& view, LeaderMode mode) {
    QByteArray const& name = view.name();
    leaderViewName = name.isNull() ? QString() : QString::fromUtf8(name);
    leaderMode = static_cast<int>(mode);
    leaderStartTime = Cobalt::TimeStamp::currentTime();
}

void Leadership::releaseLeadership() {
    leaderViewName.clear();
    leaderMode = static_cast<int>(LEADER_MODE_NONE);
    leaderStartTime = Cobalt::TimeStamp();
}

} // namespace Datamodel
