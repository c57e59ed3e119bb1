#pragma once

#include <QString>

namespace zor::local {

// The app's local sockets live in a directory of the user's own that no one
// else can enter, never on a shared path where another user could listen
// first.

// Why a directory cannot hold the sockets; `none` when it can.
enum class DirectoryProblem {
    none,
    missing,
    unreadable,
    symbolicLink,
    notADirectory,
    otherOwner,
    openToOthers,
    relative,
    openParent,
};

QString directoryProblemText(DirectoryProblem problem);

// Judges the directory entry itself (lstat), never what a link points to: a
// directory of this process's user with mode 0700.
DirectoryProblem checkPrivateDirectory(const QString& path);

// A place for a socket or its directory, or why there is none.
struct SocketPlace {
    QString path;    // empty when there is no place
    QString problem; // why not, for the log and the user

    bool hasPath() const { return !path.isEmpty(); }
};

// The user's private directory for the sockets: $XDG_RUNTIME_DIR when it
// passes the check; else the app's own directory under the user's cache
// directory, created with mode 0700 when missing and checked all the same.
SocketPlace privateRuntimeDirectory();

// Where the socket `fileName` lives: in the private directory, unless the
// environment variable `overrideVariable` names another socket, which is put
// in the private directory when it is a bare name, and whose directory must
// pass the same check when it is a path.
SocketPlace privateSocketPlace(const char* overrideVariable, const QString& fileName);

} // namespace zor::local
