#pragma once

#include "HXDynamicValue.h"

#include <optional>

// The bytes of a file chosen by the user.
//
// The file is kept as a stored reference (the property bookmarkData): a
// deterministic CBOR map with the absolute path under "path" and, when the
// document's folder was known at the time, the path relative to that folder
// under "relativePath". Resolving tries the relative path first (so a
// document moved together with its files keeps working), then the absolute
// one; the first that names an existing file wins.
class HXFileContentDynamicValue : public HXDynamicValue
{
public:
    static QString staticClassName() { return QStringLiteral("HXFileContentDynamicValue"); }
    static void registerKind();
    QString className() const override { return staticClassName(); }
    const QList<HXDynamicProperty> &dynamicKeyPaths() const override;

    QByteArray bookmarkData() const { return dataValue(QStringLiteral("bookmarkData")); }
    void setBookmarkData(const QByteArray &data) { setValue(QStringLiteral("bookmarkData"), data); }

    // Chooses a file: stores a new reference to `path`, relative to
    // `documentFolder` as well when that is not empty. A failure (no path, no
    // such file) logs "Error during bookmark creation: ..." and stores what
    // was produced (nothing).
    void setFilePath(const QString &path, const QString &documentFolder);
    // Chooses a file relative to the document of the current evaluation
    // context (see currentDocumentFolder).
    void setFilePath(const QString &path) { setFilePath(path, currentDocumentFolder()); }

    // The file the reference names, looked up relative to `documentFolder`
    // first. A reference that cannot be read or resolved logs "Error when
    // reading bookmark data: ..." (unless `logErrors` is false) and gives
    // nothing; an empty reference (no file chosen) gives nothing silently.
    std::optional<QString> resolvedFilePath(const QString &documentFolder, bool logErrors = true) const;
    std::optional<QString> resolvedFilePath() const { return resolvedFilePath(currentDocumentFolder()); }

    // The file's bytes, nothing when it cannot be resolved or read.
    HXDynamicResult evaluate() override;
    // The file's name, or "File Content" when no file resolves.
    QString displayString() const override;
    // The editor's text: the file's name, or "(Not specified)".
    QString secondaryDisplayString() const;

    // The reference format, without logging. `error` (when given) receives a
    // one-line reason on failure.
    static QByteArray bookmarkDataForPath(const QString &path, const QString &documentFolder, QString *error = nullptr);
    static std::optional<QString> pathForBookmarkData(const QByteArray &data, const QString &documentFolder,
                                                      QString *error = nullptr);

    // The folder of the file of the current request evaluation context's
    // document; an empty string outside a document or for an unsaved one.
    static QString currentDocumentFolder();
};
