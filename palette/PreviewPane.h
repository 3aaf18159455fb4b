// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The selected entry, large, with its kind, source, date and size.
#include "capture/ClipItem.h"

#include <QWidget>
#include <optional>

class HistoryStore;
class L10n;
class QLabel;
class QPlainTextEdit;
class QStackedWidget;

class PreviewPane : public QWidget {
    Q_OBJECT
public:
    static constexpr qsizetype maxPreviewCharacters = 10000;

    PreviewPane(HistoryStore &store, L10n &l10n, QWidget *parent = nullptr);
    void setItem(const std::optional<ClipItem> &item);

    // The previewed text: at most 10,000 characters, then " …".
    static QString previewText(const ClipItem &item);
    // "1920 × 1080 px", "3 files", "12 characters", or empty when unknown.
    static QString sizeInfo(const ClipItem &item, const L10n &l10n);

    QString shownText() const;     // for tests: what the text page shows
    QString metadataText() const;  // for tests: the metadata block

private:
    QPixmap fitted(const QImage &thumb) const; // an image entry's thumbnail, as large as there is room

    HistoryStore &m_store;
    L10n &m_l10n;
    QStackedWidget *m_content;
    QPlainTextEdit *m_text;
    QLabel *m_image;
    QLabel *m_files;
    QWidget *m_swatch;
    QLabel *m_meta;
};
