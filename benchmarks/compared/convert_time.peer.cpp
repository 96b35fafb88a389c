// SPDX-License-Identifier: MIT
// Peer: Qt Core
// Guarantees: years of four digits; a date that does not exist is invalid. QTimeZone has zones by
// name.
#include <stdexcept>

#include <QDateTime>

#include "tasks.h"

std::string compared::peer::convertTime(const std::string& iso8601) {
    const auto time =
        QDateTime::fromString(QString::fromStdString(iso8601), Qt::ISODateWithMs).toUTC();
    if (!time.isValid()) {
        throw std::invalid_argument(iso8601);
    }
    return std::to_string(time.toSecsSinceEpoch()) + ' ' +
           time.toString(Qt::ISODateWithMs).toStdString();
}
