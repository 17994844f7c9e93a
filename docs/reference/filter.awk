# What Doxygen reads in place of a header. The lines that declare attributes, fields, enumerations
# and the like (platform/orb/model/Declare.h, platform/orb/base/DeclareValue.h, Enum.h, Flags.h)
# become the accessors that they stand for, below a heading with the comment that stands above or
# behind the line. What a namespace holds joins the group of its folder. What is private, and
# friends, stay out.

# The accessors of each kind of declaration, with what they do, in the words of these arguments:
# NAME, TYPE (of an entity or value), KEY (the parameter), WHOLE (of a collection).
BEGIN {
  get = "TYPE NAME() const: Returns it.\n"
  put = "void NAMEIs(TYPE value): Sets it.\n"
  set = "void NAMEIs(TYPE value): Sets it, and notifies when it differs from what was there.\n"
  child = "Orb::Ptr<TYPE> const& NAME() const: Returns it, or null.\n" \
          "void NAMEDel(): Removes it and notifies, when it is there.\n"
  make = ": Returns it, made and notified of when it is not there.\n"
  all = "WHOLE const& NAME() const: All members.\n"
  keyed = "bool NAMEHas(KEY) const: Whether there is a member of a key.\n" \
          "void NAMEDel(KEY): Removes a member and notifies of its key, when it is there.\n" \
          "void NAMEDelAll(): Removes all members, then notifies of each key.\n"
  value = "TYPE NAME(KEY) const: The member of a key, or the default value.\n"
  entity = "Orb::Ptr<TYPE> NAME(KEY) const: The member of a key, or null.\n"
  add = ": Adds a member, or replaces the one of its key; notifies when it differs.\n"

  accessors["ATTRIBUTE"] = accessors["CHECKED_ATTRIBUTE"] = accessors["REFERENCE"] = get set
  accessors["COUNTER"] = get set \
    "TYPE NAMEInc(TYPE delta): Adds to it and notifies. Returns the sum, which wraps around.\n"
  accessors["FIELD"] = accessors["FIELD_AS"] = get put
  accessors["DERIVED"] = accessors["FIELD_DERIVED"] = "TYPE NAME() const: Computed from others.\n"
  accessors["CHILD"] = child "Orb::Ptr<TYPE> NAMEIs()" make
  accessors["NAMED_CHILD"] = child "Orb::Ptr<TYPE> NAMEIs(Orb::Name const& name)" make
  accessors["MAP"] = all value keyed "void NAMEIs(KEY, TYPE value)" add
  accessors["Values"] = all value keyed "void NAMEIs(TYPE const& value)" add
  accessors["Shared"] = all entity keyed "void NAMEIs(Orb::Ptr<TYPE> object)" add
  accessors["Children"] = all entity keyed "Orb::Ptr<TYPE> NAMEIs(KEY)" make

  plain = accessors["MAP"]
  gsub(/ and notifies of its key|, then notifies of each key|; notifies when it differs/, "", plain)
  accessors["FIELD_MAP"] = plain

  macros = "ENUM|FLAGS|ENTITY|ENTITY_LIKE_BASE|VALUE|VALUE_NAME|FIELDS|GETTER_ROW|COLLECTION"
  for (macro in accessors) if (macro ~ /^[A-Z_]+$/) macros = macros "|" macro
  declaration = "^ *ORB_(" macros ")[(]"
}

function filled(text, word, by,   piece, n, i, out) {
  n = split(text, piece, word)
  out = piece[1]
  for (i = 2; i <= n; ++i) out = out by piece[i]
  return out
}

# Parts a list at the commas that stand in no brackets.
function parted(text, part,   n, i, c, depth) {
  n = 1
  split("", part)
  for (i = 1; i <= length(text); ++i) {
    c = substr(text, i, 1)
    if (c ~ /[(<{]/) ++depth
    if (c ~ /[)>}]/) --depth
    if (c == "," && !depth) ++n; else if (c != " " || part[n] != "") part[n] = part[n] c
  }
  return n
}

function from(first, part, n,   list) {
  for (list = part[first++]; first <= n; ++first) list = list ", " part[first]
  return list
}

# The class of a collection: its kind, and what TYPE and KEY are.
function collection(class,   inner, part) {
  sub(/^Source</, "", class) && sub(/>$/, "", class)
  inner = class
  sub(/^[^<]*</, "", inner)
  parted(substr(inner, 1, length(inner) - 1), part)
  type = part[1]
  sub(/.*::/, "", part[2])
  key = "Key " (part[2] == "" ? "key" : part[2])  # a member's name for its key
  whole = class
  return class ~ /Children</ ? "Children" : class ~ /Shared</ ? "Shared" : "Values"
}

function declare(macro, text, comment,   part, n, line, i, kind, start) {
  n = parted(text, part)
  if (macro == "ENUM") print "/** " comment " */ enum class " part[1] " { " from(3, part, n) " };"
  if (macro == "FLAGS")
    print "/** The flags; each has accessors such as hasTag() and hasTagIs(bool). */",
          "enum class Bit { " part[3] "(ORB_LISTED) };"
  if (macro ~ /^(ENTITY|VALUE|FIELDS)$/)
    print "/** What it is made of, in this order. */",
          "enum class Attr { " from(macro == "FIELDS" ? 2 : 3, part, n) " };"
  if (macro ~ /^ENTITY/)
    print "~" part[1] "() override;",
          "/** Of " part[2] ". */ Orb::TypeInfo const& type() const override;"
  if (macro ~ /^VALUE/)
    print "/** Reads the text form of " part[2] ". */ explicit " part[1] "(std::string_view text);"

  kind = macro
  type = macro == "COUNTER" ? "Orb::U32" : macro == "REFERENCE" ? "Orb::Ptr<" part[2] ">" : part[2]
  if (macro == "FIELD_AS") type = part[3]
  if (macro ~ /MAP$/) {
    type = part[3]
    key = part[2] " key"
    whole = "Orb::Map<" part[2] ", " type ">"
  }
  if (macro == "COLLECTION") kind = collection(from(2, part, n))
  if (!(kind in accessors)) return
  start = macro ~ /^(ATTRIBUTE|FIELD)$/ ? part[3] : macro ~ /^(CHECKED|FIELD_AS)/ ? part[4] : ""
  if (start != "") comment = comment "\n\nIt starts as `" start "`."
  print "/** @name " part[1] "\n" comment " */ ///@{"
  text = filled(filled(accessors[kind], "NAME", part[1]), "TYPE", type)
  n = split(filled(filled(text, "KEY", key), "WHOLE", whole), line, "\n")
  for (i = 1; i < n; ++i) {
    match(line[i], /: [A-Z]/)
    print "/** " substr(line[i], RSTART + 2) " */ " substr(line[i], 1, RSTART - 1) ";"
  }
  print "///@}"
}

FNR == 1 {
  folder = substr(FILENAME, length(ENVIRON["PWD"]) + 2)
  file = folder
  sub(/\/[^\/]*$/, "", folder)
  gsub(/\//, "_", folder)
  isMacros = FILENAME ~ /\/(Declare|DeclareValue|Enum|Flags)\.h$/
}
/^namespace detail |^inline .* detail::.*{$/ { isPrivate = 1; depth = 0 }
isPrivate {
  depth += gsub(/{/, "{") - gsub(/}/, "}")
  isPrivate = depth > 0
  next
}
/^ *friend [A-Za-z:<> ]+;/ { next }
/^ *\/\/\// {
  # It waits for what it stands above. Markdown asks for code to be further in; outside of code,
  # #define and ::ffff are taken for names of ours.
  isCode = isCode ? !/\/\/\/ [^ ]/ : /\/\/\/   / && held ~ /\/\/\/\n$/
  if (!isCode || !sub(/\/\/\//, "///   ")) gsub(/#define|::ffff/, "\\\\&")
  held = held $0 "\n"
}
# A group is opened for what a namespace holds beyond forward declarations; what the header says of
# itself, above the namespace, goes to the page of the group.
/^namespace / {
  opened[++level] = 0
  isOpening = 1
  essay = essay held
  held = ""
  print
  next
}
isOpening && $0 == "}" { isOpening = 0; --level }
isOpening && !/^((class|struct) .*;)?$/ {
  isOpening = 0
  opened[level] = 1
  if (essay != "") essay = "///\n/// \\par " file "\n///\n" essay
  printf "/// \\addtogroup %s\n%s///@{\n\n", folder, essay
  essay = ""
}
/^}  \/\/ namespace/ && opened[level--] { print "///@}" }
/^ *\/\/\// { next }
isMacros && /^#define/ && held != "" { held = held "///\n/// \\ingroup " folder "\n" }
isMacros { printf "%s", held; held = ""; print; next }

$0 ~ declaration || call != "" {
  call = call " " $0
  if ($0 !~ /\);?( *\/\/\/<.*)?$/) next
  comment = held
  gsub(/ *\/\/\/ ?/, "", comment)
  if (match(call, / *\/\/\/< */)) {
    comment = substr(call, RSTART + RLENGTH)
    call = substr(call, 1, RSTART - 1)
  }
  sub(/^ *ORB_/, "", call)
  sub(/\);?$/, "", call)
  held = ""
  text = call
  sub(/^[A-Z_]+\( */, "", text)
  sub(/\(.*/, "", call)
  declare(call, text, comment)
  call = ""
  next
}
{ printf "%s", held; held = ""; print }
