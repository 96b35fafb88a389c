// SPDX-License-Identifier: MIT
// Peer: Qt Core
// Guarantees: the document is valid whatever is put in; members stand in the order of their names;
// strings are UTF-16 inside and UTF-8 in the text; a number has its shortest text.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "tasks.h"

std::string compared::peer::writeReport(const std::string& name) {
    const QJsonObject report{
        {"limits", QJsonObject{{"high", 16}, {"low", 1}}},
        {"name", QString::fromStdString(name)},
        {"tags", QJsonArray{"power", "cabinet 3"}},
    };
    return QJsonDocument(report).toJson(QJsonDocument::Compact).toStdString();
}
