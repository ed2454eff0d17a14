// Starts `cfgcheck --lsp` for the four known files of the framework.
const vscode = require('vscode');
const { LanguageClient } = require('vscode-languageclient/node');

let client;

function start() {
  const config = vscode.workspace.getConfiguration('cfgcheck');
  client = new LanguageClient(
    'cfgcheck',
    'cfgcheck',
    { command: config.get('path') || 'cfgcheck', args: ['--lsp'] },
    {
      documentSelector: [{ scheme: 'file', pattern: '**/{framework,servicemgr,servicemgr_restart,uvkstartup}.json' }],
      initializationOptions: { cfgcheck: { strict: config.get('strict') } },
      // The server reads `strict` from the settings it is sent on a change.
      synchronize: { configurationSection: 'cfgcheck' },
    },
  );
  return client.start();
}

function activate(context) {
  context.subscriptions.push(
    vscode.workspace.onDidChangeConfiguration(async (event) => {
      // Another program takes a new server; `strict` is the running one's to apply.
      if (!event.affectsConfiguration('cfgcheck.path')) return;
      if (client) await client.stop();
      await start();
    }),
  );
  return start();
}

function deactivate() {
  return client ? client.stop() : undefined;
}

module.exports = { activate, deactivate };
