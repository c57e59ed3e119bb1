#include "platform/local/PrivateRuntimeDir.h"

#include "shared/Identifiers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace zor::local {

namespace {

SocketPlace noPlace(const QString& problem) {
    return SocketPlace{{}, problem};
}

// Whoever may rename the entries of a directory above it could move it away
// and put another in its place. Each one above belongs to the user or to the
// system, and one that others may write to keeps their entries apart, as
// /tmp does (sticky). One the user's group may write to is left to the user.
bool hasOpenParent(const QString& cleanPath) {
    QByteArray directory = QFile::encodeName(cleanPath);
    while (directory != "/") {
        const qsizetype slash = directory.lastIndexOf('/');
        directory.truncate(std::max<qsizetype>(slash, 1));
        struct stat status {};
        if (stat(directory.constData(), &status) != 0)
            return true;
        if (status.st_uid != geteuid() && status.st_uid != 0)
            return true;
        if ((status.st_mode & S_IWOTH) && !(status.st_mode & S_ISVTX))
            return true;
    }
    return false;
}

QString describe(const QString& path, DirectoryProblem problem) {
    return path + u' ' + directoryProblemText(problem);
}

// The app's own directory under the user's cache directory: made when
// missing, with nothing but the user's access.
SocketPlace cacheDirectory() {
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (cache.isEmpty())
        return noPlace(QStringLiteral("there is no cache directory"));
    if (QDir::isRelativePath(cache))
        return noPlace(describe(cache, DirectoryProblem::relative));
    const QString parent = cache + u'/' + QString::fromLatin1(kAppSubsystem);
    const QString path = parent + QStringLiteral("/sockets");
    QDir().mkpath(parent);
    const QByteArray encoded = QFile::encodeName(path);
    if (mkdir(encoded.constData(), 0700) == 0)
        chmod(encoded.constData(), 0700); // whatever the umask took away
    if (const DirectoryProblem problem = checkPrivateDirectory(path);
        problem != DirectoryProblem::none)
        return noPlace(describe(path, problem));
    return SocketPlace{path, {}};
}

} // namespace

QString directoryProblemText(DirectoryProblem problem) {
    switch (problem) {
    case DirectoryProblem::none:
        return QStringLiteral("is private");
    case DirectoryProblem::missing:
        return QStringLiteral("does not exist");
    case DirectoryProblem::unreadable:
        return QStringLiteral("cannot be examined");
    case DirectoryProblem::symbolicLink:
        return QStringLiteral("is a symbolic link");
    case DirectoryProblem::notADirectory:
        return QStringLiteral("is not a directory");
    case DirectoryProblem::otherOwner:
        return QStringLiteral("belongs to another user");
    case DirectoryProblem::openToOthers:
        return QStringLiteral("is open to other users (its mode is not 0700)");
    case DirectoryProblem::relative:
        return QStringLiteral("is not an absolute path");
    case DirectoryProblem::openParent:
        return QStringLiteral("lies in a directory other users can change");
    }
    return {};
}

DirectoryProblem checkPrivateDirectory(const QString& path) {
    if (path.isEmpty())
        return DirectoryProblem::missing;
    // A relative path is read from wherever the app was started, and Qt
    // places a socket with one under the shared temporary directory.
    if (QDir::isRelativePath(path))
        return DirectoryProblem::relative;
    const QByteArray encoded = QFile::encodeName(path);
    struct stat status {};
    if (lstat(encoded.constData(), &status) != 0)
        return errno == ENOENT ? DirectoryProblem::missing : DirectoryProblem::unreadable;
    if (S_ISLNK(status.st_mode))
        return DirectoryProblem::symbolicLink;
    if (!S_ISDIR(status.st_mode))
        return DirectoryProblem::notADirectory;
    if (status.st_uid != geteuid())
        return DirectoryProblem::otherOwner;
    if ((status.st_mode & 0777) != 0700)
        return DirectoryProblem::openToOthers;
    if (hasOpenParent(QDir::cleanPath(path)))
        return DirectoryProblem::openParent;
    return DirectoryProblem::none;
}

SocketPlace privateRuntimeDirectory() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const DirectoryProblem problem =
        runtime.isEmpty() ? DirectoryProblem::missing : checkPrivateDirectory(runtime);
    if (problem == DirectoryProblem::none)
        return SocketPlace{runtime, {}};
    SocketPlace own = cacheDirectory();
    if (!own.hasPath())
        own.problem =
            QStringLiteral("$XDG_RUNTIME_DIR %1, and %2")
                .arg(runtime.isEmpty() ? QStringLiteral("is not set") : describe(runtime, problem),
                     own.problem);
    return own;
}

SocketPlace privateSocketPlace(const char* overrideVariable, const QString& fileName) {
    const QString override = qEnvironmentVariable(overrideVariable);
    SocketPlace place;
    if (override.contains(u'/')) {
        const QFileInfo socket(override);
        const QString directory = socket.absolutePath();
        if (const DirectoryProblem problem = checkPrivateDirectory(directory);
            problem != DirectoryProblem::none)
            return noPlace(QStringLiteral("the directory of $%1, %2")
                               .arg(QLatin1String(overrideVariable), describe(directory, problem)));
        place.path = socket.absoluteFilePath();
    } else {
        place = privateRuntimeDirectory();
        if (!place.hasPath())
            return place;
        place.path += u'/' + (override.isEmpty() ? fileName : override);
    }
    // The system's limit on a socket's path; longer ones cannot be reached.
    if (QFile::encodeName(place.path).size() >= qsizetype(sizeof(sockaddr_un::sun_path)))
        return noPlace(QStringLiteral("the socket's path %1 is too long").arg(place.path));
    return place;
}

} // namespace zor::local
