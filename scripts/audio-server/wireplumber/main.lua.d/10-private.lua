-- The engine loads what it finds in this table.
components = {}

local function module(name, arguments)
  components[name] = { "libwireplumber-module-" .. name, type = "module", args = arguments }
end

local function script(name, arguments)
  components[name] = { name, type = "script/lua", args = arguments }
end

local policy = { ["move"] = true, ["follow"] = true, ["audio.no-dsp"] = false }

module("metadata")
module("default-nodes", { ["use-persistent-storage"] = false, ["auto-echo-cancel"] = false })
module("default-nodes-api")
module("mixer-api")
module("si-node")
module("si-audio-adapter")
module("si-standard-link")
module("si-audio-endpoint")  -- only for a type that the policy names
script("access/access-default.lua", { rules = {} })
script("create-item.lua", policy)
script("policy-node.lua", policy)
