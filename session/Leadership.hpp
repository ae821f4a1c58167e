#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "framework/CanvasElement.hpp"

#include <QByteArray>

namespace Datamodel {

class View;

/// Which view leads a session, so that the others can follow it, how, and since when.
class Leadership : public CanvasElement {
public:
    /// How the leader leads. Only 0, no leader, means something here; the application defines the other
    /// values, and this class passes them through untouched.
    enum LeaderMode : int {
        LEADER_MODE_NONE = 0,
    };

    Leadership();

    /// The element name a session's leadership goes by: "leadership".
    static QByteArray const& defaultName();

    /// Makes `view` the leader in `mode`, starting now, even when it led in that mode already. Three
    /// separate writes on the user layer: name, mode, start time, each heard on its own.
    void setLeader(View const& view, LeaderMode mode);
    /// Ends any leadership: empty name, mode 0 and a zero start time, written one after the other.
    void releaseLeadership();

    /// Element name of the leading view, as UTF-8 text; empty without a leader.
    Basalt::AttributeT<QString> leaderViewName;
    /// A `LeaderMode`; 0 without a leader.
    Basalt::AttributeT<int> leaderMode;
    /// When leading began; zero without a leader.
    Basalt::AttributeT<Cobalt::TimeStamp> leaderStartTime;
};

} // namespace Datamodel
