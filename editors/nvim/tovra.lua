-- The language server in Neovim, from 0.7 on. In init.lua:
--   dofile("/usr/share/tovra/editors/nvim/tovra.lua").setup()
-- A project is the folder with `.git`, or `templates`, above the file. Its `templates` and `data.json` are taken
-- when they are there; `settings` says otherwise, with paths from the project on.
local M = {}

local function project(file)
  for _, mark in ipairs({ '.git', 'templates' }) do
    local found = vim.fn.finddir(mark, vim.fn.fnamemodify(file, ':p:h') .. ';')
    if found ~= '' then return vim.fn.fnamemodify(found, ':p:h:h') end
  end
  return vim.fn.fnamemodify(file, ':p:h')
end

local function settings_of(root)
  local found = {}
  if vim.fn.isdirectory(root .. '/templates') == 1 then found.templates = 'templates' end
  if vim.fn.filereadable(root .. '/data.json') == 1 then found.data = 'data.json' end
  return found
end

local function attached(_, buffer)
  vim.bo[buffer].omnifunc = 'v:lua.vim.lsp.omnifunc'
  local function key(keys, act)
    vim.keymap.set('n', keys, act, { buffer = buffer })
  end
  key('gd', vim.lsp.buf.definition)
  key('gr', vim.lsp.buf.references)
  key('K', vim.lsp.buf.hover)
  key('gO', vim.lsp.buf.document_symbol)
  key('<leader>r', vim.lsp.buf.rename)
  key('<leader>f', vim.lsp.buf.format or vim.lsp.buf.formatting)
end

local clients = {} -- by project

function M.start(buffer, options)
  local root = options.root or project(vim.api.nvim_buf_get_name(buffer))
  local given = options.settings or settings_of(root)
  if not clients[root] or not vim.lsp.get_client_by_id(clients[root]) then
    clients[root] = vim.lsp.start_client({
      name = 'tovra',
      cmd = options.cmd or { 'tovra', 'lsp' },
      root_dir = root,
      init_options = given,
      on_attach = options.on_attach or attached,
    })
  end
  vim.lsp.buf_attach_client(buffer, clients[root])
end

function M.setup(options)
  vim.api.nvim_create_autocmd('FileType', {
    pattern = 'tvr',
    callback = function(event) M.start(event.buf, options or {}) end,
  })
end

return M
