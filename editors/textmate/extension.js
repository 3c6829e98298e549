// Starts `tovra lsp` for .tvr files, with the settings of the workspace.
const { workspace } = require('vscode');
const { LanguageClient } = require('vscode-languageclient/node');

let client;

function settings() {
  const all = workspace.getConfiguration('tovra');
  const given = {};
  if ((all.get('templates') || []).length > 0) given.templates = all.get('templates');
  if (all.get('data')) given.data = all.get('data');
  if ((all.get('classes') || []).length > 0) given.classes = all.get('classes');
  return given;
}

exports.activate = () => {
  const command = workspace.getConfiguration('tovra').get('program') || 'tovra';
  client = new LanguageClient('tovra', 'Tovra', { command, args: ['lsp'] }, {
    documentSelector: [{ scheme: 'file', language: 'tvr' }],
    initializationOptions: settings(),
    synchronize: { fileEvents: workspace.createFileSystemWatcher('**/*.{tvr,json}') },
  });
  workspace.onDidChangeConfiguration((event) => {
    if (!event.affectsConfiguration('tovra')) return;
    client.sendNotification('workspace/didChangeConfiguration', { settings: { tovra: settings() } });
  });
  return client.start();
};

exports.deactivate = () => client && client.stop();
