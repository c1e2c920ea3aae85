#pragma once

// Splitting and joining of path names. Both "/" and "\" separate, so names written for either system are understood.
// Null C strings count as empty texts.

#include <string>

bool IsSeparator(char c);

// Without its last character if that is a separator (one only).
std::string RemoveLastDirSeparator(const std::string& rPath);

// Splits into drive (of a network share: two backslashes and the server, with the separator behind it), directory
// (with the separator at its end), name and extension (with its dot; a name that begins with its only dot has none).
// Outputs may be null. False if there is no name to split off: the path is empty or ends in a separator; drive and
// directory are filled then, too.
//
// A separator that is the first character of all is never taken for the end of a directory: "/x.log" has no directory
// and the name "/x".
bool SplitPath(const char* pszPath, std::string* psDrive, std::string* psDir, std::string* psName, std::string* psExt);

// Name and extension; drive and directory.
std::string GetFileName(const char* pszPath);
std::string GetPathName(const char* pszPath);

// Joins the name to the base directory with "/" as the only separator. Leading "./" and "../" of the name are
// resolved, "../" on a base without a separator changes nothing. A name that begins with a separator is joined like
// any other: "/etc/x" in "/opt" gives "/opt/etc/x".
std::string MakePathAbsolute(const char* pszName, const char* pszBaseDir);
