-- The tables above are the bench's own. A layout is a list of {name, kind, size}; see bench/layout.h for the kinds.

local plug = Proto("plug", "Plug-in agent, platform link")
local pluglocal = Proto("pluglocal", "Plug-in agent, local socket")

plug.prefs.key = Pref.string("Key", initial_key, "KEY of plug.conf; its first 16 bytes count")
plug.prefs.ports = Pref.range("TCP ports", initial_ports,
  "The platform's ports; at others a connection is recognised by its first frame", 65535)
pluglocal.prefs.port = Pref.uint("TCP port", initial_local_port, "The agent's port in the captures of plug-bench")

-- --- fields ---

local function names(...)
  local all = {}
  for _, rows in ipairs({...}) do
    for id, row in pairs(rows) do all[id] = row.name end
  end
  return all
end

local type_names = {}
for _, row in ipairs(messages) do type_names[row.type] = row.name end  -- of an ack the last, which fits all
local function_names = names(functions)
local report_names = names(reports)
local plug_data_names = names(plug_data)
local local_names = names(local_reports, local_requests)
local_names[40] = "devices"
local result_names = {[0] = "done", [1] = "local failure", [7] = "unsupported"}

local f = {
  magic = ProtoField.uint16("plug.magic", "Magic", base.HEX),
  type = ProtoField.uint8("plug.type", "Type", base.DEC, type_names, 0x1F),
  flag = ProtoField.uint8("plug.flag", "Flag", base.DEC, nil, 0xE0),
  head_length = ProtoField.uint8("plug.head_length", "Head length"),
  checksum = ProtoField.uint8("plug.checksum", "Checksum", base.HEX),
  body_length = ProtoField.uint16("plug.body_length", "Body length"),
  body = ProtoField.bytes("plug.body", "Encrypted body"),
  padding = ProtoField.bytes("plug.padding", "Padding"),
  data_type = ProtoField.uint8("plug.data_type", "Data type"),
  report = ProtoField.uint8("plug.report", "Report", base.DEC, report_names),
  plug_data = ProtoField.uint8("plug.plug_data", "Plug data", base.DEC, plug_data_names),
  address = ProtoField.ether("plug.address", "Address"),
  length = ProtoField.uint16("plug.length", "Data length"),
  head = ProtoField.uint16("plug.head", "Head, echoed"),
  sequence = ProtoField.uint16("plug.sequence", "Sequence"),
  func = ProtoField.uint16("plug.function", "Function", base.DEC, function_names),
  result = ProtoField.uint16("plug.result", "Result", base.DEC, result_names),
  text = ProtoField.string("plug.text", "Text"),
  bytes = ProtoField.bytes("plug.bytes", "Bytes"),
  junk = ProtoField.bytes("plug.junk", "No frame"),
}
local fl = {
  magic = ProtoField.uint16("pluglocal.magic", "Magic", base.HEX),
  func = ProtoField.uint16("pluglocal.function", "Function", base.DEC, local_names),
  sequence = ProtoField.uint32("pluglocal.sequence", "Sequence"),
  length = ProtoField.uint32("pluglocal.length", "Payload length"),
  checksum = ProtoField.uint16("pluglocal.checksum", "Checksum", base.HEX),
  result = ProtoField.uint8("pluglocal.result", "Result"),
  text = ProtoField.string("pluglocal.text", "Text"),
  bytes = ProtoField.bytes("pluglocal.bytes", "Bytes"),
  junk = ProtoField.bytes("pluglocal.junk", "No frame"),
}

local function problem(name, text, group, severity)
  return ProtoExpert.new("plug." .. name, text, group, severity or expert.severity.WARN)
end
local e = {
  key = problem("wrong_key", "The body does not decrypt: wrong key?", expert.group.DECRYPTION),
  cipher = problem("no_cipher", "Nothing to decrypt with: needs Wireshark 4.6 or Lua's luaossl",
    expert.group.DECRYPTION),
  blocks = problem("blocks", "The body is no multiple of 16 bytes", expert.group.MALFORMED),
  checksum = problem("wrong_checksum", "Wrong checksum", expert.group.CHECKSUM),
  short = problem("short", "Shorter than its layout", expert.group.MALFORMED),
  long = problem("long", "Bytes follow the layout", expert.group.PROTOCOL, expert.severity.NOTE),
  junk = problem("no_frame", "Bytes that belong to no frame", expert.group.MALFORMED),
  huge = problem("huge", "A header that announces more than a frame may have", expert.group.MALFORMED),
  cut = problem("cut", "The capture has only a part of this frame", expert.group.UNDECODED),
  unread = problem("unread", "The agent reads only the first frame of a write", expert.group.PROTOCOL),
}
plug.experts = {e.key, e.cipher, e.blocks, e.checksum, e.short, e.long, e.junk, e.huge, e.cut, e.unread}

local sizes = {u8 = 1, switch = 1, u16 = 2, u32 = 4, i32 = 4, ip = 4, host_ip = 4, date = 4, mac = 6, u64 = 8}
local families = {u8 = "uint", u16 = "uint", u32 = "uint", u64 = "uint", switch = "uint", i32 = "int", mac = "ether",
  ip = "ipv4", host_ip = "ipv4", date = "string", text = "string", raw = "bytes", rest = "string",
  short_text = "string", counted_text = "string", counted_raw = "string"}

-- A name is one field whatever record it is in, plug.data.mac for instance; one that means different kinds of values
-- is a field for each, as plug.data.first.ipv4.
local uses = {}
local function collect(prefix, layout)
  for _, field in ipairs(layout) do
    local family = families[field[2]]
    if family then
      local key = prefix .. field[1]
      uses[key] = uses[key] or {}
      local use = uses[key][family] or {title = field[1]}
      use.wide = use.wide or field[2] == "u64"
      use.switch = use.switch or field[2] == "switch"
      uses[key][family] = use
    end
  end
end
for _, row in ipairs(messages) do
  collect("plug.", row.head)
  collect("plug.", row.body)
end
for _, rows in ipairs({functions, reports, local_requests, local_reports}) do
  for _, row in pairs(rows) do
    collect("plug.data.", row.parameters or {})
    collect("plug.data.", row.answer.fields)
  end
end
collect("plug.data.", {{"count", "u16"}, {"port", "u16"}, {"down", "u64"}, {"up", "u64"}, {"radios", "u16"},
  {"radio", "u16"}, {"lan_port", "u8"}, {"wan", "u8"}, {"wifi_module", "u8"}})

local function new_field(abbreviation, title, family, use)
  if family == "uint" then
    local make = use.wide and ProtoField.uint64 or ProtoField.uint32
    return make(abbreviation, title, base.DEC, use.switch and {[0] = "off", [1] = "on"} or nil)
  elseif family == "int" then
    return ProtoField.int32(abbreviation, title)
  end
  return ProtoField[family](abbreviation, title)
end

local data_fields = {}
local registered = {}
for key, by_family in pairs(uses) do
  local several = next(by_family, next(by_family)) ~= nil
  for family, use in pairs(by_family) do
    local title = use.title:gsub("_", " "):gsub("^%l", string.upper)
    local field = new_field(several and key .. "." .. family or key, title, family, use)
    data_fields[key .. " " .. family] = field
    registered[#registered + 1] = field
  end
end
for _, field in pairs(f) do registered[#registered + 1] = field end
plug.fields = registered
pluglocal.fields = fl

-- --- layouts ---

-- A reader goes through tvb up to limit; `short` once something was missing.
local function new_reader(tvb, at, limit)
  return {tvb = tvb, at = at, limit = limit, short = false}
end

local function left(r) return r.limit - r.at end

-- The next bytes as a range; nil when they are missing, or none are wanted.
local function take(r, size)
  if size > left(r) then
    r.short = true
    r.at = r.limit
    return nil
  end
  if size == 0 then return nil end
  r.at = r.at + size
  return r.tvb(r.at - size, size)
end

local function number(r, size)
  local range = take(r, size)
  return range and range:le_uint() or 0
end

local function is_text(range)
  return not range:raw():find("[^ -\255\n\t\r]")
end

-- The rest as text or bytes.
local function show_rest(tree, r, fields)
  local range = take(r, left(r))
  if not range then return end
  if is_text(range) then
    tree:add(fields.text, range, range:string(ENC_UTF_8))
  else
    tree:add(fields.bytes, range)
  end
end

local function show_text(tree, proto_field, r, size, only_text)
  local start = r.at
  local range = take(r, size)
  if not range then
    if not r.short then tree:add(proto_field, r.tvb(start, 0), "") end
    return
  end
  if only_text or is_text(range) then
    local length = #range:raw():match("^[^\0]*")
    tree:add(proto_field, range, length > 0 and r.tvb(start, length):string(ENC_UTF_8) or "")
  else
    tree:add(f.bytes, range)
  end
end

local function show_field(tree, prefix, field, r)
  local name, kind, size = field[1], field[2], field[3]
  local proto_field = families[kind] and data_fields[prefix .. name .. " " .. families[kind]]
  if kind == "skip" then
    take(r, size)
  elseif kind == "text" then
    show_text(tree, proto_field, r, size, true)
  elseif kind == "short_text" then
    show_text(tree, proto_field, r, number(r, 1), true)
  elseif kind == "counted_text" then
    show_text(tree, proto_field, r, number(r, 2), true)
  elseif kind == "counted_raw" then
    show_text(tree, proto_field, r, number(r, 2), false)
  elseif kind == "rest" then
    show_text(tree, proto_field, r, left(r), false)
  else
    local range = take(r, size or sizes[kind])
    if not range then return end
    if kind == "date" then
      tree:add(proto_field, range, string.format("%02u%02u-%02u-%02u", range:raw():byte(1, 4)))
    elseif kind == "ip" or kind == "mac" or kind == "raw" then
      tree:add(proto_field, range)
    else
      tree:add_le(proto_field, range)
    end
  end
end

local function show_layout(tree, prefix, layout, r)
  for _, field in ipairs(layout) do
    if r.short then return end
    show_field(tree, prefix, field, r)
  end
end

local function show_value(tree, name, kind, r)
  if not r.short then show_field(tree, "plug.data.", {name, kind}, r) end
end

-- That many records, each a tree of its own.
local function show_entries(tree, layout, count, r, title)
  for entry = 1, count do
    if r.short or left(r) == 0 then
      r.short = true
      return
    end
    local start = r.at
    local item = tree:add(r.tvb(start, left(r)), title .. " " .. entry)
    show_layout(item, "plug.data.", layout, r)
    item:set_len(r.at - start)
  end
end

-- A u16 count as a field; what it is.
local function show_count(tree, name, r)
  local range = take(r, 2)
  if not range then return 0 end
  tree:add_le(data_fields["plug.data." .. name .. " uint"], range)
  return range:le_uint()
end

local shapes = {
  nothing = function() end,
  no_answer = function() end,
  record = function(tree, fields, r) show_layout(tree, "plug.data.", fields, r) end,
  list = function(tree, fields, r) show_entries(tree, fields, show_count(tree, "count", r), r, "Entry") end,
  ports = function(tree, _, r)
    local count = show_count(tree, "count", r)
    for _, way in ipairs({"down", "up"}) do show_entries(tree, {{way, "u64"}}, count, r, "Port") end
  end,
  radios = function(tree, fields, r)
    for radio = 1, show_count(tree, "radios", r) do
      if r.short then return end
      local count = number(r, 2)
      show_entries(tree, fields, count, r, "Radio " .. radio .. ", SSID")
    end
  end,
  link_states = function(tree, _, r)
    for _, name in ipairs({"lan_port", "wan"}) do
      for _ = 1, number(r, 2) do show_value(tree, name, "u8", r) end
    end
    for _ = 1, 4 do show_value(tree, "wifi_module", "u8", r) end
  end,
}

local function finish(tree, r, fields)
  if r.short then
    tree:add_proto_expert_info(e.short)
  elseif left(r) > 0 then
    show_rest(tree, r, fields)
    tree:add_proto_expert_info(e.long)
  end
end

local function show_answer(tree, answer, r, fields)
  shapes[answer.shape](tree, answer.fields, r)
  finish(tree, r, fields)
end

local function show_parameters(tree, parameters, r, fields)
  if #parameters == 0 then return show_rest(tree, r, fields) end
  show_layout(tree, "plug.data.", parameters, r)
  finish(tree, r, fields)
end

-- --- decryption ---

local has_openssl, openssl = pcall(require, "openssl.cipher")
if rawget(_G, "GcryptCipher") == nil and not has_openssl then openssl = nil end

local function hex(text)
  return (text:gsub(".", function(character) return string.format("%02x", character:byte()) end))
end

-- The plaintext with its padding; nil when there is no cipher.
local function decrypt(body)
  local key = (plug.prefs.key .. string.rep("\0", 16)):sub(1, 16)
  local zeros = string.rep("\0", 16)
  if rawget(_G, "GcryptCipher") ~= nil then
    local cipher = GcryptCipher.open(GCRY_CIPHER_AES, GCRY_CIPHER_MODE_CBC, 0)
    cipher:setkey(ByteArray.new(hex(key)))
    cipher:setiv(ByteArray.new(hex(zeros)))
    return cipher:decrypt(nil, ByteArray.new(hex(body))):raw()
  elseif openssl then
    return openssl.new("AES-128-CBC"):decrypt(key, zeros, false):final(body)
  end
  return nil
end

local function sum(text)
  local total = 0
  for at = 1, #text do total = total + text:byte(at) end
  return total
end

local function padded_by_the_book(plain, count)
  return count >= 1 and count <= 16 and plain:sub(-count) == string.rep(string.char(count), count)
end

-- The plaintext without its padding and nil, or nil and what is wrong. A wrong checksum comes with a plaintext.
local function open_body(body, head, checksum)
  local header_sum = #body % 256 + math.floor(#body / 256) + sum(head)
  if #body == 0 then return "", header_sum % 256 ~= checksum and e.checksum or nil end
  if #body % 16 ~= 0 then return nil, e.blocks end
  local padded = decrypt(body)
  if not padded then return nil, e.cipher end
  local count = padded:byte(-1)
  if count > #padded then return nil, e.key end
  local plain = padded:sub(1, #padded - count)
  if (header_sum + sum(plain)) % 256 == checksum then return plain, nil, padded end
  if padded_by_the_book(padded, count) then return plain, e.checksum, padded end
  return nil, e.key
end

-- --- the platform link ---

local error_texts = {["parser error"] = true, ["length error"] = true, ["mem error"] = true}

local function has_echo(r)
  return left(r) >= 6 and not error_texts[r.tvb(r.at, left(r)):raw()]
end

local function named(id, by_id)
  return id .. " " .. (by_id[id] or "unknown")
end

-- What follows an echo: function, result and the payload. Returns what the info column says of it.
local function show_echoed(tree, r, answer_of)
  local id_range = take(r, 2)
  local id = id_range:le_uint()
  tree:add_le(f.func, id_range)
  local result_range = take(r, 2)
  local result = result_range:le_uint()
  tree:add_le(f.result, result_range)
  local answer = answer_of(id)
  if result == 0 and answer then
    show_answer(tree, answer, r, f)
  else
    show_rest(tree, r, f)
  end
  return id, result == 0 and "" or ", result " .. result
end

local function show_command(tree, r)
  local item = take(r, 2)
  if item then tree:add_le(f.head, item) end
  local id_range = take(r, 2)
  if not id_range or left(r) < 6 then
    tree:add_proto_expert_info(e.short)
    return id_range and named(id_range:le_uint(), function_names) or ""
  end
  local id = id_range:le_uint()
  tree:add_le(f.func, id_range)
  take(r, 6)
  show_parameters(tree, functions[id] and functions[id].parameters or {}, r, f)
  return named(id, function_names)
end

local function show_function_reply(tree, r)
  if not has_echo(r) then
    local text = left(r) > 0 and r.tvb(r.at, left(r)):string(ENC_UTF_8) or ""
    show_rest(tree, r, f)
    return text
  end
  tree:add_le(f.head, take(r, 2))
  local id, result = show_echoed(tree, r, function(id)
    local row = functions[id] or reports[id]
    return row and row.answer
  end)
  return named(id, functions[id] and function_names or report_names) .. result
end

local function show_report(tree, r, data_type)
  local row = reports[data_type]
  if not row or not row.binary or not has_echo(r) then
    show_rest(tree, r, f)
  else
    tree:add_le(f.sequence, take(r, 2))
    show_echoed(tree, r, function() return row.answer end)
  end
  return named(data_type, report_names)
end

-- By the type: what the record's type byte means, and what its data shows.
local record_kinds = {
  [17] = {f.report, show_report},
  [18] = {f.plug_data, function(tree, r, data_type)
    show_rest(tree, r, f)
    return named(data_type, plug_data_names)
  end},
  [20] = {f.data_type, show_command},
  [26] = {f.data_type, show_function_reply},
}
record_kinds[19] = record_kinds[17]
record_kinds[25] = record_kinds[18]

local function show_record(tree, r, message)
  local kind = record_kinds[message.type]
  take(r, 2)
  local type_range = take(r, 1)
  if type_range then tree:add(kind[1], type_range) end
  local address = message.form == "addressed" and take(r, 6)
  if address then tree:add(f.address, address) end
  local length_range = take(r, 2)
  if not length_range then
    tree:add_proto_expert_info(e.short)
    return ""
  end
  local length_item = tree:add_le(f.length, length_range)
  local length = length_range:le_uint()
  if length > left(r) then length_item:add_proto_expert_info(e.short) end
  if length < left(r) then length_item:add_proto_expert_info(e.long) end
  r.limit = math.min(r.limit, r.at + length)
  return kind[2](tree, r, type_range:uint())
end

local function find_message(frame_type, size)
  for _, row in ipairs(messages) do
    if row.type == frame_type and (size == nil or row.least <= size) then return row end
  end
end

-- One frame: tvb holds it and nothing else. Returns what the info column says of it.
local function show_frame(tvb, tree)
  local tree = tree:add(plug, tvb(), "Plug-in agent, platform link")
  local frame_type = tvb(2, 1):uint() % 32
  local head_length = tvb(3, 1):uint()
  local body_length = tvb(5, 2):le_uint()
  tree:add_le(f.magic, tvb(0, 2))
  tree:add(f.type, tvb(2, 1))
  tree:add(f.flag, tvb(2, 1))
  tree:add(f.head_length, tvb(3, 1))
  local checksum_item = tree:add(f.checksum, tvb(4, 1))
  tree:add_le(f.body_length, tvb(5, 2))

  local head = head_length > 0 and tvb(7, head_length):raw() or ""
  local body = body_length > 0 and tvb(7 + head_length, body_length):raw() or ""
  local plain, wrong, padded = open_body(body, head, tvb(4, 1):uint())
  local message = find_message(frame_type, plain and #plain)
  local name = plain and message and message.name or type_names[frame_type] or "type " .. frame_type
  tree:append_text(": " .. name)
  if wrong == e.checksum then checksum_item:add_proto_expert_info(e.checksum) end

  local code = 0
  if message and #message.head > 0 and head_length > 0 then
    local r = new_reader(tvb, 7, 7 + head_length)
    show_layout(tree, "plug.", message.head, r)
    finish(tree, r, f)
    code = message.head[1][1] == "code" and number(new_reader(tvb, 7, 7 + head_length), 2) or 0
  end
  local trouble = (code ~= 0 and ", code " .. code or "") .. (wrong == e.checksum and " [wrong checksum]" or "")
  if body_length == 0 then return name .. trouble end
  local body_item = tree:add(f.body, tvb(7 + head_length, body_length))
  if not plain then
    body_item:add_proto_expert_info(wrong)
    return name .. " [not decrypted]"
  end
  local plain_tvb = ByteArray.new(hex(padded)):tvb("Decrypted body")
  local r = new_reader(plain_tvb, 0, #plain)
  local detail = ""
  if not message then
    show_rest(tree, r, f)
  elseif message.form == "fields" then
    show_layout(tree, "plug.", message.body, r)
    finish(tree, r, f)
  elseif #plain > 0 then
    detail = show_record(tree, r, message)
  end
  if #plain < #padded then tree:add(f.padding, plain_tvb(#plain, #padded - #plain)) end
  if detail ~= "" then
    tree:append_text(", " .. detail)
    name = name .. " " .. detail
  end
  return name .. trouble
end

-- --- streams ---

local function show_junk(tvb, tree, field, problem_found)
  tree:add(field, tvb()):add_proto_expert_info(problem_found)
end

-- Goes through what a segment holds. `step` looks at the bytes from an offset on: it returns how many it has shown and
-- what the info column says of them, or nil and how many bytes it lacks.
local function dissect_stream(proto, tvb, pinfo, tree, step)
  local offset = 0
  local said = {}
  while offset < tvb:len() do
    local shown, more = step(tvb, offset)
    if not shown then
      local whole = tvb:reported_length_remaining(0) == tvb:len()
      if whole and pinfo.can_desegment > 0 then
        pinfo.desegment_offset = offset
        pinfo.desegment_len = more
      else
        local item = tree:add(proto, tvb(offset), proto.description)
        item:add_proto_expert_info(e.cut)
        said[#said + 1] = "[cut frame]"
      end
      break
    end
    offset = offset + shown
    if more then said[#said + 1] = more end
  end
  if #said == 0 then return end
  pinfo.cols.protocol = proto.name
  -- The frame that began in an earlier packet and those behind it come one call after the other.
  pinfo.cols.info = (pinfo.private.plug and "; " or "") .. table.concat(said, "; ")
  pinfo.private.plug = "said"
end

-- Where 0xCC 0xDD begins, maybe with its last byte yet to come; the end when it does not.
local function find_magic(tvb, offset)
  local bytes = tvb:raw(offset)
  local at = bytes:find("\xCC\xDD", 1, true)
  if at then return offset + at - 1 end
  return bytes:sub(-1) == "\xCC" and tvb:len() - 1 or tvb:len()
end

local function plug_step(tree)
  return function(tvb, offset)
    local start = find_magic(tvb, offset)
    if start > offset then
      show_junk(tvb(offset, start - offset), tree, f.junk, e.junk)
      return start - offset, "[no frame]"
    end
    local available = tvb:len() - offset
    if available < 7 then return nil, DESEGMENT_ONE_MORE_SEGMENT end
    local size = 7 + tvb(offset + 3, 1):uint() + tvb(offset + 5, 2):le_uint()
    if size > longest_frame then
      show_junk(tvb(offset, 2), tree, f.junk, e.huge)
      return 2, "[huge header]"
    end
    if available < size then return nil, size - available end
    return size, show_frame(tvb(offset, size):tvb(), tree)
  end
end

function plug.dissector(tvb, pinfo, tree)
  dissect_stream(plug, tvb, pinfo, tree, plug_step(tree))
end

-- A stream is the platform link when it begins with a header that makes sense.
plug:register_heuristic("tcp", function(tvb, pinfo, tree)
  if tvb:len() < 7 or tvb(0, 2):le_uint() ~= 0xDDCC then return false end
  local body_length = tvb(5, 2):le_uint()
  if not type_names[tvb(2, 1):uint() % 32] or body_length % 16 ~= 0 then return false end
  if 7 + tvb(3, 1):uint() + body_length > longest_frame then return false end
  pinfo.conversation = plug
  plug.dissector(tvb, pinfo, tree)
  return true
end)

-- --- the local socket ---

local local_header = 14

local function show_reply(tree, row, r)
  local range = take(r, 1)
  if not range then return "" end
  tree:add(fl.result, range)
  if range:uint() == 0 or left(r) > 0 then show_answer(tree, row.answer, r, fl) end
  return range:uint() == 0 and "" or ", result " .. range:uint()
end

-- The payload of a frame; returns what kind of frame it is, and more of it for the info column.
local function show_payload(tree, id, from_agent, r)
  local request, report = local_requests[id], local_reports[id]
  if r.tvb(r.at, left(r)):raw() == "i" then  -- which fills a frame that has nothing to say
    show_rest(tree, r, fl)
    return from_agent and "request" or "question", ""
  elseif from_agent then
    show_parameters(tree, request and request.parameters or {}, r, fl)
    return "request", ""
  elseif id == 40 then
    show_answer(tree, reports[40].answer, r, fl)
  elseif request then
    return "reply", show_reply(tree, request, r)
  else
    show_parameters(tree, report and report.parameters or {}, r, fl)
  end
  return "report", ""
end

local function show_local_frame(tvb, tree, from_agent)
  local tree = tree:add(pluglocal, tvb(), "Plug-in agent, local socket")
  local id, length = tvb(2, 2):le_uint(), tvb(8, 4):le_uint()
  tree:add_le(fl.magic, tvb(0, 2))
  tree:add_le(fl.func, tvb(2, 2))
  tree:add_le(fl.sequence, tvb(4, 4))
  tree:add_le(fl.length, tvb(8, 4))
  local checksum_item = tree:add_le(fl.checksum, tvb(12, 2))
  local kind, detail = from_agent and "request" or "report", ""
  local wrong = ""
  if length > 0 then
    if sum(tvb(local_header, length):raw()) % 65536 ~= tvb(12, 2):le_uint() then
      checksum_item:add_proto_expert_info(e.checksum)
      wrong = " [wrong checksum]"
    end
    kind, detail = show_payload(tree, id, from_agent, new_reader(tvb, local_header, local_header + length))
  end
  local text = kind .. " " .. named(id, local_names) .. detail .. wrong
  tree:append_text(": " .. text)
  return text
end

local function local_step(tree, from_agent)
  return function(tvb, offset)
    local available = tvb:len() - offset
    if available >= 2 and tvb(offset, 2):le_uint() ~= 0x5A5A then
      show_junk(tvb(offset), tree, fl.junk, e.junk)
      return available, "[no frame]"
    end
    local size = available < local_header and local_header or local_header + tvb(offset + 8, 4):le_uint()
    if available < size then
      -- The agent takes what one read yields as one frame: nothing more belongs to it.
      if from_agent then return nil, size - available end
      show_junk(tvb(offset), tree, fl.junk, e.short)
      return available, "[short frame]"
    end
    local text = show_local_frame(tvb(offset, size):tvb(), tree, from_agent)
    if offset > 0 and not from_agent then tree:add_proto_expert_info(e.unread) end
    return size, text
  end
end

function pluglocal.dissector(tvb, pinfo, tree)
  dissect_stream(pluglocal, tvb, pinfo, tree, local_step(tree, pinfo.src_port == pluglocal.prefs.port))
end

-- --- where they are found ---

local tcp_ports = DissectorTable.get("tcp.port")
local taken = {}  -- by each protocol

local function take_ports()
  for proto, ports in pairs({[plug] = plug.prefs.ports, [pluglocal] = pluglocal.prefs.port}) do
    if taken[proto.name] then tcp_ports:remove(taken[proto.name], proto) end
    tcp_ports:add(ports, proto)
    taken[proto.name] = ports
  end
end
plug.prefs_changed = take_ports
pluglocal.prefs_changed = take_ports
take_ports()
