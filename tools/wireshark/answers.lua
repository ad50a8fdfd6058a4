
-- ---- requests and answers: found in the first pass, shown in each

-- The key of a packet, as far as its values decide which answer is its own; nil where it is missing.
local function by(name)
    return function(values) return values[name] and tostring(values[name]) end
end
local function by_kind() return "" end

local pairs_of = {
    { "ClientProtocolVersion", "ServerProtocolAcknowledge", by_kind },
    { "ClientInit", "ServerInitAcknowledge", by_kind },
    { "SetPixelFormat", "PixelFormatAcknowledge", by_kind },
    { "OverrideCompression", "OverrideCompressionAcknowledge", by_kind },
    { "SetFrameSize", "FrameSizeAcknowledge", by_kind },
    { "FramebufferUpdateRequest", "FramebufferUpdate", by_kind, answers_all = true },
    { "InitiatePhoneCall", "PhoneCallStatusResponse", by_kind },
    { "ServerAudio", "ClientAudio", by("requestid") },
    { "RequestAudioType", "AudioTypeResponse", by_kind },
    { "ClientRequestAppIcon", "ServerAppIcon", by("identifierurl") },
    { "ClientStartApp", "ServerAppStarted", by("identifierurl") },
    { "Ping", "PingAcknowledge", by("packetcounter") },
}

local requests, answers = {}, {}
for _, pair in ipairs(pairs_of) do
    requests[pair[1]], answers[pair[2]] = pair, pair
end

local sessions, known = {}, {}

local function forget_answers()
    sessions, known = {}, {}
end

-- Requests of one kind and key, in their order: first is the oldest without an answer.
local function queue_of(session, pair, key)
    key = pair[1] .. ":" .. key
    session[key] = session[key] or { first = 1, last = 0 }
    return session[key]
end

local function answer(queue, pair, reply)
    local request = queue[queue.first] or (not pair.answers_all and queue[queue.last])
    if not request then return end
    reply.request = request
    local last = pair.answers_all and queue.last or math.min(queue.first, queue.last)
    for i = queue.first, last do
        queue[i].response_in = reply.frame
        if i < queue.last then queue[i] = nil end
    end
    queue.first = math.max(queue.first, last + 1)
end

-- What is known of a packet; it is found out when its frame is seen for the first time.
local function exchange_of(identity, connection, packet, values, pinfo)
    if pinfo.visited then return known[identity] end
    local name = packet.name
    if name == "ClientProtocolVersion" then sessions[connection] = nil end
    local session = sessions[connection] or {}
    sessions[connection] = session
    local pair = requests[name] or answers[name]
    local key = pair and pair[3](values)
    if not key then return nil end
    local exchange = { frame = pinfo.number, time = pinfo.rel_ts }
    local queue = queue_of(session, pair, key)
    if requests[name] then
        queue.last = queue.last + 1
        queue[queue.last] = exchange
    else
        answer(queue, pair, exchange)
    end
    known[identity] = exchange
    return exchange
end

local function show_exchange(exchange, range, tree)
    if not exchange then return end
    if exchange.response_in then
        tree:add(shown.response_in, range, exchange.response_in):set_generated()
    end
    if not exchange.request then return end
    tree:add(shown.response_to, range, exchange.request.frame):set_generated()
    local microseconds = math.floor((exchange.time - exchange.request.time) * 1e6 + 0.5)
    local seconds = math.floor(microseconds / 1e6)
    local rest = NSTime.new(seconds, (microseconds - seconds * 1e6) * 1000)
    tree:add(shown.response_time, range, rest):set_generated()
end
