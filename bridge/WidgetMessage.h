// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The companion's message format. Every record is a plain value compared field by field;
// fields are declared in the order of the keys in the encoded JSON. `std::optional` = an
// optional field (left out when absent).
#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>

struct WidgetEar {
    std::optional<QString> symbol;
    QString text;
    std::optional<double> level;
    std::optional<qint64> tint;
    qint64 priority = 0;
    std::optional<QString> sprite;
    std::optional<QString> meta;
    bool operator==(const WidgetEar &) const = default;
};

struct WidgetAction {
    QString id;
    QString title;
    std::optional<QString> symbol;
    std::optional<qint64> tint; // 0xRRGGBB
    std::optional<QString> detail;
    bool operator==(const WidgetAction &) const = default;
};

struct WidgetItem {
    QString id;
    std::optional<QString> title;
    std::optional<QString> path;
    std::optional<QString> meta;
    std::optional<QString> sub;
    std::optional<qint64> tint; // 0xRRGGBB
    bool operator==(const WidgetItem &) const = default;
};

struct WidgetTab {
    QString title;
    std::optional<QString> symbol;
    std::optional<QString> icon;
    double width = 0;
    double height = 0;
    bool operator==(const WidgetTab &) const = default;
};

struct WidgetAgentPresentation {
    std::optional<QString> agent;
    QString activity;
    std::optional<QString> sprite;
    std::optional<QString> reason;
    qint64 revision = 0;
    QString sourceEpoch;
    double observedAt = 0;
    std::optional<qint64> pid;
    bool operator==(const WidgetAgentPresentation &) const = default;
};

struct WidgetPane {
    QString id;
    QString title;
    std::optional<QList<double>> frame;
    std::optional<QString> tty;
    std::optional<WidgetAgentPresentation> agentPresentation;
    std::optional<bool> unread;
    std::optional<QString> agentSessionId;
    bool operator==(const WidgetPane &) const = default;
};

struct WidgetSession {
    QString id;
    QString title;
    std::optional<QString> subtitle;
    std::optional<QString> thumb;
    std::optional<QString> state;
    std::optional<QList<WidgetPane>> panes;
    std::optional<QString> windowId;
    std::optional<qint64> bg;
    bool operator==(const WidgetSession &) const = default;
};

struct WidgetDecl {
    QString id;
    QString kind;
    QString title;
    std::optional<QString> symbol;
    std::optional<qint64> minW;
    std::optional<qint64> minH;
    std::optional<qint64> maxW;
    std::optional<qint64> maxH;
    std::optional<QString> chart;
    bool operator==(const WidgetDecl &) const = default;
};

struct WidgetData {
    std::optional<QString> value;
    std::optional<QString> unit;
    std::optional<QString> meta;
    std::optional<QList<double>> series;
    std::optional<QList<double>> series2;
    std::optional<double> gauge;
    std::optional<QList<QStringList>> breakdown;
    std::optional<qint64> seriesCap;
    std::optional<QList<double>> values;
    std::optional<qint64> valuesSplit;
    std::optional<double> pressure;
    std::optional<QList<double>> pressureSeries;
    std::optional<QList<double>> seriesLong;
    std::optional<QList<double>> series2Long;
    std::optional<QList<double>> loadSeries;
    std::optional<QList<QList<double>>> valuesSeries;
    std::optional<QList<QStringList>> procs;
    std::optional<qint64> procsTotal;
    std::optional<double> procsSumGB;
    std::optional<QList<double>> partsGB;
    std::optional<QMap<QString, QString>> facts;
    bool operator==(const WidgetData &) const = default;
};

struct WidgetStatus {
    std::optional<QString> sprite;
    std::optional<QString> text;
    bool operator==(const WidgetStatus &) const = default;
};

struct WidgetSnapLayout {
    QString id;
    QString name;
    qint64 columns = 0;
    qint64 rows = 0;
    QList<QList<qint64>> zones;
    bool operator==(const WidgetSnapLayout &) const = default;
};

// The message catalogue: the types this application sends or acts on.
namespace WidgetMessageType {
inline constexpr QLatin1StringView state("widget.state");       // to the companion
inline constexpr QLatin1StringView hostInfo("widget.hostinfo"); // from the companion
inline constexpr QLatin1StringView command("widget.command");   // from the companion
}

struct WidgetMessage {
    qint64 v = 1;
    QString type;
    QString app;
    std::optional<QString> name;
    std::optional<WidgetEar> ear;
    std::optional<QList<WidgetAction>> actions;
    std::optional<QList<WidgetItem>> items;
    std::optional<QString> itemsTitle;
    std::optional<WidgetTab> tab;
    std::optional<QList<WidgetSession>> sessions;
    std::optional<QString> actionId;
    std::optional<QString> itemId;
    std::optional<QList<double>> rect;
    std::optional<QList<WidgetDecl>> widgets;
    std::optional<QString> widgetId;
    std::optional<WidgetData> data;
    std::optional<QStringList> placedIds;
    std::optional<QString> text;
    std::optional<QString> lang;
    std::optional<WidgetStatus> status;
    std::optional<bool> locked;
    std::optional<QString> phase;
    std::optional<QString> dragApp;
    std::optional<QString> dragTitle;
    std::optional<QString> zone;
    std::optional<QList<WidgetSnapLayout>> snapLayouts;

    // One compact JSON object (no line break byte, no null, absent fields left out), or
    // nothing when a double anywhere in the message is NaN or infinite.
    std::optional<QByteArray> encode() const;
    // Nothing when the bytes are not one JSON object, or a required field anywhere is
    // missing/null/mistyped, or an optional one is mistyped. Unknown keys are ignored.
    static std::optional<WidgetMessage> decode(const QByteArray &json);

    // "widget.state" exactly as this application fills it: v 1, name "Stashwell", the one
    // action, the items ([] when none), locked false, no other field.
    static WidgetMessage state(const QString &appID, const WidgetAction &action, const QList<WidgetItem> &items,
                               const QString &itemsTitle);
    // The one action of "widget.state", with its localized title and detail.
    static WidgetAction openPaletteAction(const QString &title, const QString &detail);

    bool operator==(const WidgetMessage &) const = default;
};
