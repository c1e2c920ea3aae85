#pragma once

#include <cstddef>
#include <string>

// An open file. Nothing is buffered here: every call goes to the system, so small pieces are better gathered by the
// caller.
//
//     CVexFile oFile("table.bin", CVexFile::eRead);
//     std::size_t nRead;
//     if (!oFile.Seek(-16, CVexFile::eEnd) || !oFile.Read(aRecord, 16, nRead))
//         Report(std::strerror(oFile.GetLastError()));
//
// Threads:   one object belongs to one thread at a time. The static functions may be called from any thread.
// Ownership: the destructor closes the file; programs started meanwhile do not inherit it.
// Errors:    every operation answers true on success and otherwise leaves the system's error number in GetLastError()
//            (EBADF without an open file). Nothing is thrown. Calls that a signal interrupts are taken up again.
// Units:     bytes; files may be larger than 4 GiB.
class CVexFile
{
public:
	enum EOpenMode
	{
		eRead = 0,        // the file must exist
		eWrite = 1,       // creates the file, or empties it
		eAppend = 2,      // creates the file, or keeps what is there; whatever is written goes to the end
		eReadWrite = 3    // creates the file, or keeps what is there; begins at the start
	};

	enum EOrigin
	{
		eBegin = 0,
		eCurrent = 1,
		eEnd = 2
	};

	CVexFile();

	// Open() with the same parameters.
	CVexFile(const char* pszName, EOpenMode eMode);
	virtual ~CVexFile();
	CVexFile(const CVexFile&) = delete;
	CVexFile& operator=(const CVexFile&) = delete;

	// Closes what was open before. The name is used as given. A directory is no file (EISDIR). Never waits: a pipe
	// without a reader cannot be opened for writing (ENXIO), and without a writer reads as empty.
	bool Open(const char* pszName, EOpenMode eMode);

	// The file is closed in any case; false if the system could not keep what was written. True if none was open.
	bool Close();

	bool IsOpen() const;

	// Reads nSize bytes; fewer only at the end of the file, which is no error. rnRead is their number, also of those
	// that came before an error. On a pipe or device this waits for them.
	bool Read(void* pBuffer, std::size_t nSize, std::size_t& rnRead);

	// Writes all of them; on an error a part may have been written.
	bool Write(const void* pBuffer, std::size_t nSize);
	bool Write(const std::string& rsText);

	// Sets the position of the next Read() or Write(), which may lie behind the end. Before the start: false, and the
	// position stays.
	bool Seek(long long nOffset, EOrigin eOrigin = eBegin);

	// On failure the parameter is unchanged.
	bool Tell(long long& rnPosition);

	// Waits until the disk has what was written.
	bool Flush();

	// Cuts the file off, or fills it up with NULs. The position stays.
	bool Truncate(long long nSize);

	// The system's error number of the last operation; 0 if it succeeded.
	int GetLastError() const;

	// Reads a file up to its end. On failure rsContent is unchanged. A file larger than a quarter of the machine's memory
	// is not read (ENOMEM). With pnError the error number is stored there, 0 on success.
	static bool ReadAll(const char* pszName, std::string& rsContent, int* pnError = nullptr);

	// Creates the file or replaces its content: the new content is written beside it, is waited for until the disk has
	// it, and then takes the file's name. So whoever reads, and whoever looks after a loss of power, finds the old
	// content or the new one whole; and on failure the old one stays. The mode is kept, the owner if the process may
	// give files away. A symbolic link is followed; other hard links keep the old content. The process must be allowed
	// to write the file and to make files in its directory. Only regular files are replaced (EISDIR, EINVAL).
	static bool WriteAll(const char* pszName, const std::string& rsContent, int* pnError = nullptr);

private:
	bool SetResult(bool bSuccess);
	bool OpenDescriptor(const char* pszName, int nFlags);
	bool OpenBeside(const std::string& rsTarget, std::string& rsName);
	bool ReadToEnd(std::string& rsContent);
	bool ReplaceContent(const char* pszName, const std::string& rsContent);

	int m_nFile = -1;
	int m_nError = 0;
};
