#pragma once
// Minimal Qt translation files (.qm) for the framework-language tests: the file magic alone
// is a valid, empty translation that QTranslator loads.
#include <QByteArray>
#include <QFile>
#include <QString>

namespace TranslationFiles {

inline QByteArray emptyQm()
{
    static const unsigned char magic[] = {0x3c, 0xb8, 0x64, 0x18, 0xca, 0xef, 0x9c, 0x95,
                                          0xcd, 0x21, 0x1c, 0xbf, 0x60, 0xa1, 0xbd, 0xdd};
    return QByteArray(reinterpret_cast<const char *>(magic), sizeof magic);
}

inline bool write(const QString &path, const QByteArray &contents = emptyQm())
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

} // namespace TranslationFiles
