import HtmlWebpackPlugin from 'html-webpack-plugin';

export default {
  entry: './src/main.ts',
  output: { clean: true },
  resolve: { extensions: ['.ts', '.js'] },
  module: { rules: [{ test: /\.ts$/, loader: 'ts-loader', exclude: /node_modules/ }] },
  plugins: [new HtmlWebpackPlugin({ template: 'index.html' })],
};
