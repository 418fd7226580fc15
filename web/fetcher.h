// The HTTP fetcher: one GET over a plain socket to port 80, the body saved to
// a file. It reads a plain length, a chunked body (known by a hexadecimal
// first body line, not by a header) and an answer with neither; it reports a
// "303 See Other" and leaves following it to the caller. Called on worker
// threads; all state is per call. Two progress lines go to standard output.
#pragma once

#include <cstddef>
#include <cstdint>

// Results of FetchToFile.
constexpr int FetchDone = 0;            // finished; the file holds what came
constexpr int FetchNoHost = 1;          // host name not found; file untouched
constexpr int FetchNoConnection = 2;    // connection refused or failed; file untouched
constexpr int FetchSeeOther = 303;      // path now holds the Location address; file empty
constexpr int FetchSeeOtherNowhere = 3; // 303 without a Location: line; path kept, file empty
constexpr int FetchSeeOtherTooLong = 4; // Location longer than the buffer; path kept, file empty

constexpr std::size_t FetchBlockSize = 16384; // one receive, and the request buffer
constexpr std::size_t FetchPathSize = 512;    // the caller's path buffer
constexpr std::uint32_t FetchUnknownLength = 2147483648u;
constexpr std::uint32_t ChunkSizeInvalid = 0xFFFFFFFFu;

// The request, shared with the server date query: path, then host.
extern const char RequestTemplate[];

// Fetches url (at most 511 characters; a scheme in front is dropped, the port
// is always 80) into the file named by path, a buffer of FetchPathSize bytes.
// The file is prepared only once the connection stands, so results 1 and 2
// leave an existing file alone. Result: one of the codes above; 0 does not
// say that a body arrived.
int FetchToFile(const char* url, char* path);

// FetchToFile that keeps at most maxBytes of the body and then ends the
// transfer as a closed connection would (result FetchDone), so an answer
// without end can't fill the disk. A reader of a page's head needs no more.
int FetchToFileUpTo(const char* url, char* path, std::uint64_t maxBytes);

// The hexadecimal value of text up to NUL, CR or LF, either case; an empty
// line or any other character gives ChunkSizeInvalid. Wraps at 32 bits.
std::uint32_t ParseChunkSize(const char* text);

// The answer-reading half of the fetcher, apart from the socket so that it
// can be driven from a buffer. receive fills at most size bytes and gives the
// count, 0 for a closed peer, -1 for an error or time-out; write stores body
// bytes and gives false on failure (which is not looked at). path is the
// caller's buffer (pathSize bytes) that takes a redirect address.
struct FetchIo {
  void* context = nullptr;
  long (*receive)(void* context, char* buffer, std::size_t size) = nullptr;
  bool (*write)(void* context, const char* data, std::size_t size) = nullptr;
};
int ReadFetchAnswer(const FetchIo& io, char* path, std::size_t pathSize);

// The pause the socket clients make between request and answer and before
// each plain block (300 ms). Tests set it to a function of their own; null
// restores the real sleep. Not for use while fetches run.
void SetWebSleepForTests(void (*sleep)(unsigned milliseconds));
void WebSleep(unsigned milliseconds);

// Seconds a socket client waits on a server that neither sends nor closes:
// [Web] FetchTimeout of Define.ini, 60 when missing or not a positive number.
int WebTimeoutSeconds();

// Opens a stream socket to host, port 80 (or the test route), with the web
// time-out on receives and sends, printing the two progress lines. Result:
// the socket, or -FetchNoHost / -FetchNoConnection.
int ConnectWebServer(const char* host);
