# What Doxygen reads in place of a header: lines stay where they are, but those that say all there is by themselves
# are empty. These are declarations without a comment that copy, move or compare in the usual way.
{
  plain = $0
  gsub(/constexpr |friend |noexcept|\[\[nodiscard\]\]|= (default|delete)/, "", plain)
  split(plain, part, /[(&]/)
  made = part[1]
  sub(/^ +/, "", made)
  sub(/ .*/, "", made)
  copies = plain ~ "^ +" made "\\((const )?" made " ?&&?( [a-z]+)?\\) *;$"
  assigns = plain ~ "^ +" made "& operator=\\((const )?" made " ?&&?( [a-z]+)?\\)( const)? *;$"
  compares = $0 ~ /operator==\(.*\)( const)?( noexcept)? = default;$/
  if (made != "" && (copies || assigns || compares) && before !~ /^ *\/\/\//) print ""
  else print
  before = $0
}
