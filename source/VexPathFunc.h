#pragma once

// Splitting and joining of path names. Both "/" and "\" separate, so names written for either system are understood.
// Null C strings count as empty texts.

#include <string>

bool IsSeparator(char c);

// Without its last character if that is a separator (one only).
std::string RemoveLastDirSeparator(const std::string& rPath);

// Splits into drive (of a network share: two backslashes and the server, with the separator after it), directory
// (with the separator at its end), name and extension (with its dot; a name that begins with its only dot has none).
// Outputs may be null. False if the path is empty, or ends in a separator that is not part of the drive; drive and
// directory are filled in that case too. A path that is all drive has an empty name, and the result is true.
//
// A separator at the very start, or right after the drive, never ends a directory: "/x.log" and "C:/x.log" have no
// directory and the name "/x".
bool SplitPath(const char* pszPath, std::string* psDrive, std::string* psDir, std::string* psName, std::string* psExt);

// Name and extension; drive and directory.
std::string GetFileName(const char* pszPath);
std::string GetPathName(const char* pszPath);

// Joins the name to the base directory with "/" as the only separator. Leading "./" and "../" of the name are
// resolved, "../" on a base without a separator changes nothing. A name that begins with a separator is joined like
// any other: "/etc/x" in "/opt" gives "/opt/etc/x".
std::string MakePathAbsolute(const char* pszName, const char* pszBaseDir);
