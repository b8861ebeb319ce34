import { FlatCompat } from '@eslint/eslintrc';
import js from '@eslint/js';

// The shared configuration is still written in ESLint's old format.
const compat = new FlatCompat({ baseDirectory: import.meta.dirname, recommendedConfig: js.configs.recommended });
const shared = compat.config({
  extends: ['@ionic/eslint-config/recommended'],
  parserOptions: { projectService: true },
});

export default [
  { ignores: ['**/dist/', 'js/stacks/apps/'] },
  ...shared.map((config) => ({ ...config, files: ['**/*.ts'] })),
  // An app has no boundary, and neither has what is not shipped: its modules export to one another only.
  {
    files: ['conformance/**/*.ts', 'example/**/*.ts'],
    rules: { '@typescript-eslint/explicit-module-boundary-types': 'off' },
  },
];
