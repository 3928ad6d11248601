#!/bin/sh
# check_ndef.sh VOSCTL SCRATCH: an independent NDEF reader (the npm package ndef) understands the records of our tags.
# Status 77, skipped, where there is no node or no way to the package.
set -eu
vosctl=$1
scratch=$2
command -v node > /dev/null && command -v npm > /dev/null || { echo "no node and npm here"; exit 77; }
mkdir -p "$scratch"
cd "$scratch"
if [ ! -d node_modules/ndef ]; then
    [ -f package.json ] || echo '{"private": true}' > package.json
    npm install --cache "$PWD/npm" --no-audit --no-fund --no-save ndef@0.2.0 > npm.log 2>&1 || { echo "the npm package ndef is out of reach"; exit 77; }
fi
"$vosctl" nfc url http://192.168.1.1/setup -o url.tag > /dev/null
"$vosctl" nfc wifi home --auth wpa2 --encryption aes --key secret -o wifi.tag > /dev/null
cat > check.js <<'JS'
const assert = require('assert');
const fs = require('fs');
const ndef = require('ndef');
// The message stands behind the capability files and its two length bytes.
const message = file => {
    const bytes = [...fs.readFileSync(file)].slice(28);
    const records = ndef.decodeMessage(bytes);
    assert.strictEqual(records.length, 1, file);
    return records[0];
};
const url = message('url.tag');
assert.strictEqual(url.tnf, ndef.TNF_WELL_KNOWN);
assert.strictEqual(url.type, 'U');
assert.strictEqual(ndef.uri.decodePayload(url.payload), 'http://192.168.1.1/setup');
const wifi = message('wifi.tag');
assert.strictEqual(wifi.tnf, ndef.TNF_MIME_MEDIA);
assert.strictEqual(wifi.type, 'application/vnd.wfa.wsc');
const text = String.fromCharCode(...wifi.payload);
assert(text.includes('home') && text.includes('secret'));
console.log('both records read');
JS
node check.js
