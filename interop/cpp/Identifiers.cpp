#include "Identifiers.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace kr::zero::cpp {

namespace {

constexpr std::string_view kKeywords = R"(
alignas alignof and and_eq asm auto bitand bitor bool break case catch char char16_t char32_t char8_t class
co_await co_return co_yield compl concept const const_cast consteval constexpr constinit continue decltype
default delete do double dynamic_cast else enum explicit export extern false final float for friend goto if
import inline int long module mutable namespace new noexcept not not_eq nullptr operator or or_eq override
private protected public register reinterpret_cast requires return short signed sizeof static static_assert
static_cast struct switch template this thread_local throw true try typedef typeid typename typeof union
unsigned using virtual void volatile wchar_t while xor xor_eq
)";

constexpr std::string_view kMacros = R"(
ACCESSPERMS ALLPERMS BUFSIZ CSIGNAL DEFFILEMODE DOMAIN E2BIG EACCES EADDRINUSE EADDRNOTAVAIL EADV
EAFNOSUPPORT EAGAIN EALREADY EBADE EBADF EBADFD EBADMSG EBADR EBADRQC EBADSLT EBFONT EBUSY ECANCELED ECHILD
ECHRNG ECOMM ECONNABORTED ECONNREFUSED ECONNRESET EDEADLK EDEADLOCK EDESTADDRREQ EDOM EDOTDOT EDQUOT EEXIST
EFAULT EFBIG EHOSTDOWN EHOSTUNREACH EHWPOISON EIDRM EILSEQ EINPROGRESS EINTR EINVAL EIO EISCONN EISDIR
EISNAM EKEYEXPIRED EKEYREJECTED EKEYREVOKED EL2HLT EL2NSYNC EL3HLT EL3RST ELIBACC ELIBBAD ELIBEXEC ELIBMAX
ELIBSCN ELNRNG ELOOP EMEDIUMTYPE EMFILE EMLINK EMSGSIZE EMULTIHOP ENAMETOOLONG ENAVAIL ENETDOWN ENETRESET
ENETUNREACH ENFILE ENOANO ENOBUFS ENOCSI ENODATA ENODEV ENOENT ENOEXEC ENOKEY ENOLCK ENOLINK ENOMEDIUM
ENOMEM ENOMSG ENONET ENOPKG ENOPROTOOPT ENOSPC ENOSR ENOSTR ENOSYS ENOTBLK ENOTCONN ENOTDIR ENOTEMPTY
ENOTNAM ENOTRECOVERABLE ENOTSOCK ENOTSUP ENOTTY ENOTUNIQ ENXIO EOF EOPNOTSUPP EOVERFLOW EOWNERDEAD EPERM
EPFNOSUPPORT EPIPE EPROTO EPROTONOSUPPORT EPROTOTYPE ERANGE EREMCHG EREMOTE EREMOTEIO ERESTART ERFKILL EROFS
ESHUTDOWN ESOCKTNOSUPPORT ESPIPE ESRCH ESRMNT ESTALE ESTRPIPE ETIME ETIMEDOUT ETOOMANYREFS ETXTBSY EUCLEAN
EUNATCH EUSERS EWOULDBLOCK EXDEV EXFULL FALSE FAPPEND FASYNC FFSYNC FNDELAY FNONBLOCK I INFINITY MAXFLOAT
MAX_CANON MAX_HANDLE_SZ MAX_INPUT NAN NFDBITS NGREG NSIG NULL NZERO OVERFLOW PLOSS SIGABRT SIGALRM SIGBUS
SIGCHLD SIGCLD SIGCONT SIGFPE SIGHUP SIGILL SIGINT SIGIO SIGIOT SIGKILL SIGPIPE SIGPOLL SIGPROF SIGPWR
SIGQUIT SIGRTMAX SIGRTMIN SIGSEGV SIGSTKFLT SIGSTKSZ SIGSTOP SIGSYS SIGTERM SIGTRAP SIGTSTP SIGTTIN SIGTTOU
SIGURG SIGUSR1 SIGUSR2 SIGVTALRM SIGWINCH SIGXCPU SIGXFSZ SING TLOSS TRUE UNDERFLOW WEOF WIFCONTINUED
WIFEXITED WIFSIGNALED WIFSTOPPED alloca assert assert_perror complex errno i386 issubnormal linux major
makedev math_errhandling minor offsetof sched_priority setjmp sigmask sigsetjmp stderr stdin stdout strdupa
strndupa unix
)";

// Families of macros; what begins like one of them is taken for one.
constexpr std::string_view kMacroPrefixes = R"(
ADJ_ AIO_ ATOMIC_ AT_ BC_ BIG_ENDIAN BOOL_ BOOST_ BUS_ BYTE_ORDER CHARCLASS_ CHAR_ CLD_ CLOCKS_ CLOCK_
CLONE_ CLOSE_ COLL_ CPU_ DBL_ DECIMAL_DIG DELAYTIMER_ DN_ EXIT_ EXPR_ FALLOC_ FD_ FE_ FILENAME_ FLT_ FOPEN_
FPE_ FP_ F_ F_OK HOST_NAME_ HUGE_VAL ILL_ INT16_ INT32_ INT64_ INT8_ INTMAX_ INTPTR_ INT_ IOV_ ITIMER_ KR0_
LC_ LDBL_ LINE_MAX LITTLE_ENDIAN LLONG_ LOCK_ LOGIN_NAME_ LONG_ L_ MATH_ MB_ MINSIGSTKSZ MOD_ MQ_ M_
NAME_MAX NGROUPS_ NL_ O_ PATH_MAX PDP_ENDIAN PIPE_ POLL_ POSIX_ PRIX PRId PRIi PRIo PRIu PRIx PTHREAD_
PTRDIFF_ P_tmpdir RAND_ REG_ RENAME_ RE_DUP_ RTSIG_ RWF_ RWH_ R_OK SA_ SCHAR_ SCHED_ SCN SEEK_ SEGV_ SEM_
SHRT_ SIGEV_ SIG_ SIZE_ SI_ SNAN SPLICE_ SSIZE_ SS_ STATX_ STA_ STDERR_ STDIN_ STDOUT_ SYNC_ SYS_ S_
TEMP_FAILURE_ TIMER_ TIMESPEC_ TIMEVAL_ TIME_UTC TMP_MAX TRAP_ TTY_NAME_ UCHAR_ UINT16_ UINT32_ UINT64_
UINT8_ UINTMAX_ UINTPTR_ UINT_ ULLONG_ ULONG_ USHRT_ UTIME_ WCHAR_ WCONTINUED WEXIT WINT_ WNOHANG WNOWAIT
WORD_BIT WSTOP WTERMSIG WUNTRACED W_OK XATTR_ X_OK be16toh be32toh be64toh htobe htole le16toh le32toh
le64toh pthread_cleanup_ sa_handler sa_sigaction si_ sigev_notify_ st_atim st_ctim st_mtim timeradd
timerclear timercmp timerisset timersub va_
)";

/// Whether something is true of a word of a list.
template <class Predicate>
bool anyOf(std::string_view list, const Predicate& predicate) {
  for (std::size_t start = list.find_first_not_of(" \n"); start != std::string_view::npos;
       start = list.find_first_not_of(" \n", start)) {
    const std::size_t end = list.find_first_of(" \n", start);
    if (predicate(list.substr(start, end - start))) return true;
    start = end;
  }
  return false;
}

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return isUpper(c) || (c >= 'a' && c <= 'z'); }

/// The character that begins at a position, and how many bytes it takes; the text is well-formed.
struct Character {
  std::uint32_t number;
  std::size_t size;
};
Character characterAt(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first < 0x80) return {first, 1};
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  std::uint32_t number = first & (0xFFu >> (size + 1));
  for (std::size_t i = 1; i < size && at + i < text.size(); ++i)
    number = number << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3Fu);
  return {number, std::min(size, text.size() - at)};
}

std::string hexadecimal(std::uint32_t number) {
  std::array<char, 16> digits{};
  const int size = std::snprintf(digits.data(), digits.size(), "u%04X", number);
  return {digits.data(), static_cast<std::size_t>(size)};
}

}  // namespace

std::string cleaned(std::string_view name) {
  std::string made;
  for (std::size_t at = 0; at < name.size();) {
    const Character character = characterAt(name, at);
    at += character.size;
    const char c = character.number < 0x80 ? static_cast<char>(character.number) : '\0';
    if (character.number >= 0x80)
      made += hexadecimal(character.number);
    else if (isLetter(c) || isDigit(c))
      made += c;
    else if (!made.empty() && made.back() != '_')
      made += '_';
  }
  if (!made.empty() && made.back() == '_') made.pop_back();
  if (made.empty()) return "unnamed";
  return isDigit(made.front()) ? "n" + made : made;
}

std::string identifierOf(std::string_view name) {
  std::string made = cleaned(name);
  if (isReserved(made)) made += '_';
  return made;
}

std::string memberNameOf(std::string_view name) {
  std::string made = cleaned(name);
  if (!isUpper(made.front())) made.front() = static_cast<char>(made.front() - 'a' + 'A');
  return made;
}

bool isReserved(std::string_view word) {
  const auto isWord = [&](std::string_view other) { return word == other; };
  const auto isPrefix = [&](std::string_view prefix) { return word.starts_with(prefix); };
  return anyOf(kKeywords, isWord) || anyOf(kMacros, isWord) || anyOf(kMacroPrefixes, isPrefix);
}

}  // namespace kr::zero::cpp
